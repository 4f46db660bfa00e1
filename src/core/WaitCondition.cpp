#include "WaitCondition.h"

#include "Whitespace.h"

#include <QJsonObject>

#include <cmath>

namespace corvane {

using namespace Qt::StringLiterals;

QString WaitCondition::describe() const
{
    switch (kind) {
    case Kind::port:
        return host == "localhost"_L1 ? u"port %1"_s.arg(port) : u"%1:%2"_s.arg(host).arg(port);
    case Kind::url:
        return target;
    case Kind::file:
        return u"file "_s + target;
    }
    return {};
}

WaitReading readWait(const QJsonValue &value)
{
    if (!value.isObject())
        return {std::nullopt, u"a wait must be a port, a URL or a file"_s};
    const QJsonObject object = value.toObject();
    WaitCondition condition;

    const QJsonValue timeout = object.value("timeout"_L1);
    if (!timeout.isUndefined()) {
        if (!timeout.isDouble() || !(timeout.toDouble() > 0) || !std::isfinite(timeout.toDouble()))
            return {std::nullopt, u"the timeout must be a positive number of seconds"_s};
        condition.timeoutSeconds = timeout.toDouble();
    }

    if (object.contains("port"_L1)) {
        condition.kind = WaitCondition::Kind::port;
        const QJsonValue port = object.value("port"_L1);
        const double number = port.toDouble(-1);
        if (!port.isDouble() || number < 1 || number > 65535 || number != std::floor(number))
            return {std::nullopt, u"the port must be a number from 1 to 65535"_s};
        condition.port = int(number);
        const QJsonValue host = object.value("host"_L1);
        if (!host.isUndefined()) {
            if (!host.isString() || isBlank(host.toString()))
                return {std::nullopt, u"the host must be a name or an address"_s};
            condition.host = trimmedWhitespace(host.toString());
        }
        return {condition, {}};
    }
    for (const auto &[key, kind] : {std::pair{"url"_L1, WaitCondition::Kind::url},
                                    std::pair{"file"_L1, WaitCondition::Kind::file}}) {
        if (!object.contains(key))
            continue;
        const QJsonValue target = object.value(key);
        if (!target.isString() || isBlank(target.toString()))
            return {std::nullopt, kind == WaitCondition::Kind::url ? u"the URL is empty"_s
                                                                   : u"the file is empty"_s};
        condition.kind = kind;
        condition.target = trimmedWhitespace(target.toString());
        return {condition, {}};
    }
    return {std::nullopt, u"a wait must be a port, a URL or a file"_s};
}

QJsonValue waitValue(const WaitCondition &condition)
{
    QJsonObject object;
    switch (condition.kind) {
    case WaitCondition::Kind::port:
        object.insert("port"_L1, condition.port);
        if (condition.host != "localhost"_L1)
            object.insert("host"_L1, condition.host);
        break;
    case WaitCondition::Kind::url:
        object.insert("url"_L1, condition.target);
        break;
    case WaitCondition::Kind::file:
        object.insert("file"_L1, condition.target);
        break;
    }
    if (condition.timeoutSeconds != WaitCondition::defaultTimeoutSeconds)
        object.insert("timeout"_L1, condition.timeoutSeconds);
    return object;
}

} // namespace corvane
