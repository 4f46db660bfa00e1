#include "InstanceProtocol.h"

namespace corvane::instance {

namespace {

QByteArray withoutLineFeed(const QByteArray &line)
{
    return line.endsWith('\n') ? line.chopped(1) : line;
}

} // namespace

QByteArray encode(Request request)
{
    return request == Request::run ? "run\n" : "edit\n";
}

QByteArray encode(const Reply &reply)
{
    if (reply.ok)
        return "ok\n";
    // The reason must stay on its line.
    QString reason = reply.reason;
    reason.replace(u'\n', u' ');
    return "refused " + reason.toUtf8() + '\n';
}

std::optional<Request> decodeRequest(const QByteArray &line)
{
    const QByteArray word = withoutLineFeed(line);
    if (word == "run")
        return Request::run;
    if (word == "edit")
        return Request::edit;
    return std::nullopt;
}

std::optional<Reply> decodeReply(const QByteArray &line)
{
    const QByteArray text = withoutLineFeed(line);
    if (text == "ok")
        return Reply{};
    if (text.startsWith("refused "))
        return Reply{false, QString::fromUtf8(text.mid(8))};
    return std::nullopt;
}

} // namespace corvane::instance
