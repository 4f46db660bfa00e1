#include "SystemPlatform.h"

#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"

#include <QByteArrayList>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace corvane {

std::unique_ptr<Platform> makeSystemPlatform()
{
    return std::make_unique<LinuxPlatform>(LinuxPlatform::realSystem());
}

std::unique_ptr<Sleeper> makeSystemSleeper()
{
    return std::make_unique<BootTimeSleeper>();
}

QStringList withoutSystemArguments(const QStringList &arguments)
{
    return arguments;
}

namespace {

// True unless DISPLAY names a local X server (":N" or "unix:N") whose socket refuses us; remote
// displays are left for Qt to try.
bool localXServerAnswers(const QByteArray &display)
{
    QByteArray rest = display;
    if (rest.startsWith("unix:"))
        rest = rest.mid(4);
    if (!rest.startsWith(':'))
        return true;
    const QByteArray number = rest.mid(1).split('.').first();
    const QByteArray path = "/tmp/.X11-unix/X" + number;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return true;
    // X servers listen on an abstract socket too; either one will do.
    bool answered = false;
    for (bool abstract : {true, false}) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::size_t offset = abstract ? 1 : 0;
        if (static_cast<std::size_t>(path.size()) + offset >= sizeof address.sun_path)
            break;
        std::memcpy(address.sun_path + offset, path.constData(),
                    static_cast<std::size_t>(path.size()));
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + offset +
                                                   static_cast<std::size_t>(path.size()));
        if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), length) == 0) {
            answered = true;
            break;
        }
    }
    // An answered probe stays open while Corvane lives: closed now, while it may be a fresh
    // server's only client, it can make the server reset, and Qt's connection, made next, fail.
    if (!answered)
        ::close(fd);
    return answered;
}

} // namespace

std::optional<QString> graphicalSessionProblem()
{
    const QByteArray display = qgetenv("DISPLAY");
    const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const QByteArray requested = qgetenv("QT_QPA_PLATFORM");
    const auto x11Problem = [&]() -> std::optional<QString> {
        if (display.isEmpty())
            return QStringLiteral("needs a graphical session (no DISPLAY or WAYLAND_DISPLAY set)");
        if (!localXServerAnswers(display))
            return QStringLiteral("needs a graphical session (no X server answers on DISPLAY %1)")
                .arg(QString::fromLocal8Bit(display));
        return std::nullopt;
    };
    if (requested.isEmpty())
        return wayland ? std::nullopt : x11Problem();
    // A list like "wayland;xcb" is tried in order; platforms such as offscreen need no server.
    std::optional<QString> problem =
        QStringLiteral("needs a graphical session (no DISPLAY or WAYLAND_DISPLAY set)");
    for (const QByteArray &entry : requested.split(';')) {
        const QByteArray name = entry.split(':').first().trimmed();
        if (name == "xcb") {
            problem = x11Problem();
            if (!problem)
                return std::nullopt;
        } else if (name.startsWith("wayland")) {
            if (wayland)
                return std::nullopt;
        } else if (!name.isEmpty()) {
            return std::nullopt;
        }
    }
    return problem;
}

} // namespace corvane
