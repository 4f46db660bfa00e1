#pragma once

#include "AppConfig.h"

#include <QFile>

namespace corvane::testing {

inline CommandStep step(const QString &command, double delay = 0)
{
    return {QUuid::createUuid(), command, delay};
}
inline TabGroup group(const QString &name, const QList<CommandStep> &steps,
                      std::optional<QString> packedOverride = std::nullopt)
{
    return {QUuid::createUuid(), name, steps, std::move(packedOverride)};
}
inline QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
inline bool writeExecutable(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace corvane::testing
