#include "DesktopTerminals.h"

#include "LinuxTerminals.h"
#include "TerminalTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// The terminal that an executable ("/usr/bin/konsole", Debian's "gnome-terminal.wrapper") or a
// desktop-file id ("Alacritty.desktop", "org.kde.konsole.desktop") names, or nothing.
std::optional<TerminalApp> terminalNamed(const QString &path)
{
    QString name = QFileInfo(path).fileName();
    for (const QStringView suffix : {u".desktop", u".wrapper"}) {
        if (name.endsWith(suffix))
            name.chop(suffix.size());
    }
    // Desktop ids are reverse-DNS names that often end in the executable's name.
    const QString lastPart = name.section(u'.', -1);
    for (const LinuxTerminal &row : linuxTerminals) {
        const QStringView program = qview(row.program);
        if (!program.isEmpty() && (name.compare(program, Qt::CaseInsensitive) == 0 ||
                                   name.compare(qview(row.desktopId), Qt::CaseInsensitive) == 0 ||
                                   lastPart.compare(program, Qt::CaseInsensitive) == 0))
            return row.app;
    }
    return std::nullopt;
}

// The terminal a command line ("kitty -1") starts: its first word names the program.
std::optional<TerminalApp> terminalOfCommand(const QString &command)
{
    return terminalNamed(command.trimmed().section(u' ', 0, 0));
}

QStringList fileLines(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n');
}

// Entries of the freedesktop terminal lists: desktop-file ids, optionally with ":action";
// lines starting with '#' are comments.
QList<std::optional<TerminalApp>> listedTerminals(const QStringList &folders,
                                                  const QStringList &desktops)
{
    QList<std::optional<TerminalApp>> listed;
    for (const QString &folder : folders) {
        QStringList names;
        for (const QString &desktop : desktops)
            names.append(desktop.toLower() + u"-xdg-terminals.list"_s);
        names.append(u"xdg-terminals.list"_s);
        for (const QString &name : names) {
            for (const QString &line : fileLines(folder + u'/' + name)) {
                const QString entry = line.trimmed().section(u':', 0, 0);
                if (!entry.isEmpty() && !entry.startsWith(u'#'))
                    listed.append(terminalNamed(entry));
            }
        }
    }
    return listed;
}

// GNOME's "default-applications.terminal exec", printed by gsettings as a quoted string.
std::optional<TerminalApp> gnomeSetting()
{
    const QString gsettings = QStandardPaths::findExecutable(u"gsettings"_s);
    if (gsettings.isEmpty())
        return std::nullopt;
    QProcess process;
    process.start(gsettings,
                  {u"get"_s, u"org.gnome.desktop.default-applications.terminal"_s, u"exec"_s});
    if (!process.waitForFinished(2000) || process.exitCode() != 0) {
        process.kill();
        process.waitForFinished();
        return std::nullopt;
    }
    QString value = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    if (value.size() >= 2 && value.startsWith(u'\'') && value.endsWith(u'\''))
        value = value.mid(1, value.size() - 2);
    return terminalOfCommand(value);
}

// KDE's TerminalService (a desktop-file id) or TerminalApplication (a command) in the [General]
// group of the first kdeglobals that sets one.
std::optional<TerminalApp> kdeSetting(const QStringList &folders)
{
    for (const QString &folder : folders) {
        bool general = false;
        QString service, application;
        for (const QString &line : fileLines(folder + u"/kdeglobals"_s)) {
            const QString text = line.trimmed();
            if (text.startsWith(u'[')) {
                general = text == u"[General]";
            } else if (general && text.startsWith(u"TerminalService=")) {
                service = text.section(u'=', 1);
            } else if (general && text.startsWith(u"TerminalApplication=")) {
                application = text.section(u'=', 1);
            }
        }
        if (!service.isEmpty() || !application.isEmpty())
            return service.isEmpty() ? terminalOfCommand(application) : terminalNamed(service);
    }
    return std::nullopt;
}

} // namespace

QList<TerminalApp> desktopPreferredTerminals()
{
    const QStringList desktops =
        qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts);
    const auto on = [&](std::initializer_list<QStringView> names) {
        return std::any_of(desktops.begin(), desktops.end(), [&](const QString &desktop) {
            return std::any_of(names.begin(), names.end(), [&](QStringView name) {
                return desktop.compare(name, Qt::CaseInsensitive) == 0;
            });
        });
    };
    // Relative entries are to be ignored.
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    folders.removeIf([](const QString &folder) { return QDir::isRelativePath(folder); });
    const bool gnome = on({u"GNOME", u"Unity", u"Budgie"});

    QList<std::optional<TerminalApp>> candidates{
        terminalOfCommand(qEnvironmentVariable("TERMINAL"))};
    candidates += listedTerminals(folders, desktops);
    if (gnome)
        candidates.append(gnomeSetting());
    if (on({u"KDE"}))
        candidates.append(kdeSetting(folders));
    if (const QString alternative = QStandardPaths::findExecutable(u"x-terminal-emulator"_s);
        !alternative.isEmpty())
        candidates.append(terminalNamed(QFileInfo(alternative).canonicalFilePath()));
    if (gnome || on({u"X-Cinnamon"}))
        candidates.append(TerminalApp::gnomeTerminal);
    if (on({u"KDE"}))
        candidates.append(TerminalApp::konsole);
    if (on({u"XFCE"}))
        candidates.append(TerminalApp::xfce4Terminal);
    if (on({u"MATE"}))
        candidates.append(TerminalApp::mateTerminal);

    QList<TerminalApp> preferred;
    for (const std::optional<TerminalApp> &app : std::as_const(candidates)) {
        if (app && !preferred.contains(*app))
            preferred.append(*app);
    }
    return preferred;
}

} // namespace corvane
