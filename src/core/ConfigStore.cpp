#include "ConfigStore.h"

#include "ConfigCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace corvane {

namespace {

constexpr QFileDevice::Permissions ownerOnlyFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr QFileDevice::Permissions ownerOnlyFolder =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;

// Like QDir::mkpath, but every folder it creates is private to the user from the start
// rather than chmod-ed afterwards.
void makePrivatePath(const QString &path)
{
    QStringList missing;
    QString current = QDir::cleanPath(path);
    while (!current.isEmpty() && !QFileInfo::exists(current)) {
        missing.prepend(current);
        const QString parent = QFileInfo(current).path();
        if (parent == current)
            break;
        current = parent;
    }
    for (const QString &folder : std::as_const(missing)) {
        if (!QDir().mkdir(folder, ownerOnlyFolder))
            return;
    }
}

} // namespace

ConfigStore::ConfigStore(const QString &applicationSupportDirectory, QObject *parent)
    : QObject(parent)
{
    // Without a support folder there is nowhere to keep the file: run on defaults, save nothing,
    // rather than write into whatever the current directory happens to be.
    if (applicationSupportDirectory.isEmpty())
        return;
    const QDir base(applicationSupportDirectory);
    const QString folder = base.filePath(QStringLiteral("Corvane"));
    makePrivatePath(folder);
    m_filePath = QDir(folder).filePath(QStringLiteral("config.json"));

    // A user of the older build keeps their configuration; the old file stays where it is.
    if (!QFileInfo::exists(m_filePath)) {
        const QString oldFile = base.filePath(QStringLiteral("Lumaret/config.json"));
        if (QFileInfo(oldFile).isFile() && QFile::copy(oldFile, m_filePath))
            QFile::setPermissions(m_filePath, ownerOnlyFile);
    }

    // Only regular files are read: opening a FIFO or a device would hang start-up.
    if (!QFileInfo(m_filePath).isFile())
        return;
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray bytes = file.readAll();
    const bool readFailed = file.error() != QFileDevice::NoError;
    file.close();
    if (!readFailed) {
        if (auto loaded = ConfigCodec::decode(bytes)) {
            m_config = std::move(*loaded);
            return;
        }
    }
    // The user may still want what was in there; save() keeps a copy before replacing it.
    m_keepUnreadableCopy = true;
}

void ConfigStore::setConfig(const AppConfig &config)
{
    if (config == m_config)
        return;
    m_config = config;
    Q_EMIT configChanged();
}

bool ConfigStore::update(const std::function<void(AppConfig &)> &edit)
{
    AppConfig config = m_config;
    edit(config);
    if (config == m_config)
        return false;
    m_config = std::move(config);
    Q_EMIT configChanged();
    return true;
}

bool ConfigStore::fail(const QString &reason)
{
    if (reason != m_saveError) {
        m_saveError = reason;
        Q_EMIT saveErrorChanged();
    }
    return reason.isEmpty();
}

bool ConfigStore::save()
{
    if (m_filePath.isEmpty())
        return fail(tr("there is no folder to keep the configuration in"));
    const auto bytes = ConfigCodec::encode(m_config);
    if (!bytes)
        return fail(tr("a delay is not a number"));

    if (m_keepUnreadableCopy) {
        const QString copy = m_filePath + QStringLiteral(".unreadable");
        QFile::remove(copy);
        if (QFile::copy(m_filePath, copy))
            QFile::setPermissions(copy, ownerOnlyFile);
    }

    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    file.setPermissions(ownerOnlyFile);
    if (file.write(*bytes) != bytes->size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return fail(reason);
    }
    if (!file.commit())
        return fail(file.errorString());
    m_keepUnreadableCopy = false;
    return fail({});
}

} // namespace corvane
