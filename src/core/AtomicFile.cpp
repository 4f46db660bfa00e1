#include "AtomicFile.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {

namespace {

using namespace Qt::StringLiterals;

// The system's reason in the user's words where there are plainer ones.
QString plainReason(const QString &systemReason)
{
    static const std::pair<int, const char *> plain[] = {
        {ENOSPC, "the disk is full"},     {EDQUOT, "the disk quota is used up"},
        {EROFS, "the disk is read-only"}, {EACCES, "permission denied"},
        {EPERM, "permission denied"},     {EIO, "the disk reported an error"},
    };
    for (const auto &[number, words] : plain) {
        if (systemReason.contains(qt_error_string(number), Qt::CaseInsensitive))
            return QString::fromLatin1(words);
    }
    return systemReason.isEmpty() ? u"the file could not be written"_s : systemReason;
}

bool syncFolder(const QString &folder)
{
    const int fd =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

} // namespace

bool AtomicFile::isPresent(const QString &path)
{
    struct stat status {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
}

std::optional<QString> AtomicFile::regularFile(const QString &path)
{
    const QString target = QFileInfo(path).canonicalFilePath();
    struct stat status {};
    if (target.isEmpty() || ::stat(QFile::encodeName(target).constData(), &status) != 0 ||
        !S_ISREG(status.st_mode))
        return std::nullopt;
    return target;
}

std::optional<QString> AtomicFile::write(const QString &path, const QByteArray &bytes,
                                         QFileDevice::Permissions permissions)
{
    const QString name = QFileInfo(path).fileName();
    QString target = path;
    if (isPresent(path)) {
        const auto regular = regularFile(path);
        if (!regular) {
            return QFileInfo(path).isSymLink()
                       ? u"%1 is a link to something that is not a file"_s.arg(name)
                       : u"%1 is not a regular file"_s.arg(name);
        }
        target = *regular;
    }

    QSaveFile file(target);
    // Never fall back to writing into the file in place: half a file is worse than none.
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        return plainReason(file.errorString());
    file.setPermissions(permissions);
    // Written, flushed and on the disk before the rename: otherwise a full disk or a crash can
    // leave an empty file in the old one's place.
    if (file.write(bytes) != bytes.size() || !file.flush() || ::fdatasync(file.handle()) != 0) {
        const QString reason =
            file.error() != QFileDevice::NoError ? file.errorString() : qt_error_string(errno);
        file.cancelWriting();
        return plainReason(reason);
    }
    if (!file.commit())
        return plainReason(file.errorString());
    // The rename is done; a folder that cannot be synced (some file systems) still has it.
    syncFolder(QFileInfo(target).absolutePath());
    return std::nullopt;
}

} // namespace corvane
