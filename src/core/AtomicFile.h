#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QString>

#include <optional>

namespace corvane {

// What only the user may read and change: their configuration and the files Corvane writes for
// its runs.
inline constexpr QFileDevice::Permissions ownerOnlyFile =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner;
inline constexpr QFileDevice::Permissions ownerOnlyFolder = ownerOnlyFile | QFileDevice::ExeOwner;

// Replaces a file's whole contents or leaves it exactly as it was. The new text is written to a
// temporary file beside the target, flushed and synced, renamed over the target, and the folder
// is synced. A symbolic link is written through only when it ends at a regular file (which is
// then replaced beside itself, so the link stays a link); nothing but a regular file is ever
// replaced.
class AtomicFile final {
public:
    AtomicFile() = delete;

    // Gives the reason in a few words for the user when `path` was left as it was.
    static std::optional<QString> write(const QString &path, const QByteArray &bytes,
                                        QFileDevice::Permissions permissions = ownerOnlyFile);

    // Whether anything at all is at `path`, a dangling link included.
    static bool isPresent(const QString &path);
    // The regular file that `path` is or ends at through links, or nothing (missing, a dangling
    // link, a folder, a FIFO, a device, a socket).
    static std::optional<QString> regularFile(const QString &path);
};

} // namespace corvane
