#include "ConfigStore.h"

#include "AtomicFile.h"
#include "ConfigCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace corvane {

namespace {

std::optional<QByteArray> readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return bytes;
}

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

    std::optional<QByteArray> bytes;
    if (AtomicFile::isPresent(m_filePath)) {
        // Only regular files are read: opening a FIFO or a device would hang start-up.
        const auto file = AtomicFile::regularFile(m_filePath);
        bytes = file ? readAll(*file) : std::nullopt;
        if (!bytes) {
            m_loadError = file ? tr("it could not be read") : tr("it is not a regular file");
            return;
        }
    } else {
        // A user of the older build keeps their configuration; the old file stays where it is.
        const auto old =
            AtomicFile::regularFile(base.filePath(QStringLiteral("Lumaret/config.json")));
        bytes = old ? readAll(*old) : std::nullopt;
        m_firstStart = !bytes;
        if (!bytes)
            return;
        AtomicFile::write(m_filePath, *bytes); // when it fails, the first save says why
    }
    if (auto loaded = ConfigCodec::decode(*bytes, &m_loadError)) {
        m_config = std::move(*loaded);
        return;
    }
    // The user may still want what was in there; save() keeps a copy before replacing it.
    m_unreadable = std::move(bytes);
}

void ConfigStore::setConfig(const AppConfig &config)
{
    if (config == m_config)
        return;
    m_config = config;
    Q_EMIT configChanged();
}

bool ConfigStore::hasFile() const
{
    return !m_filePath.isEmpty() && AtomicFile::isPresent(m_filePath);
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

    if (m_unreadable) {
        // Replaces an older copy; a link there is replaced, never followed.
        const QString copy = m_filePath + QStringLiteral(".unreadable");
        if (QFileInfo(copy).isSymLink())
            QFile::remove(copy);
        if (const auto reason = AtomicFile::write(copy, *m_unreadable))
            return fail(
                tr("no copy of the unreadable config.json could be kept (%1)").arg(*reason));
        m_unreadable.reset();
    }
    if (const auto reason = AtomicFile::write(m_filePath, *bytes))
        return fail(*reason);
    m_loadError.clear(); // what was unreadable is replaced now
    return fail({});
}

} // namespace corvane
