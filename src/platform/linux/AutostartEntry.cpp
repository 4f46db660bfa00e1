#include "AutostartEntry.h"

#include "AtomicFile.h"
#include "ConfigHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// A desktop entry's string values read \s, \n, \t, \r and \\ as escapes.
QString escapedValue(const QString &text)
{
    QString escaped;
    for (const QChar c : text) {
        switch (c.unicode()) {
        case u'\\':
            escaped += u"\\\\"_s;
            break;
        case u'\n':
            escaped += u"\\n"_s;
            break;
        case u'\t':
            escaped += u"\\t"_s;
            break;
        case u'\r':
            escaped += u"\\r"_s;
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

} // namespace

QString AutostartEntry::path()
{
    return configHome() + u"/autostart/corvane.desktop"_s;
}

QString AutostartEntry::text(const QString &program, bool run)
{
    // TryExec is a plain string, not a command line: quoting it would name another file.
    return u"[Desktop Entry]\n"
           u"Type=Application\n"
           u"Name=Corvane\n"_s +
           (run ? u"Comment=Start Corvane and run your startup commands\n"_s
                : u"Comment=Start Corvane in the tray\n"_s) +
           u"Exec="_s + execArgument(program) + (run ? u" run"_s : QString()) + u"\nTryExec="_s +
           escapedValue(program) + u"\nIcon=corvane\nTerminal=false\n"_s;
}

LoginStart AutostartEntry::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return LoginStart::off;
    bool inMainGroup = false;
    QString exec;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u'[')) {
            inMainGroup = line == u"[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (!inMainGroup || equals < 0)
            continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        // Hidden=true is how XDG autostart turns an entry off; GNOME has a key of its own.
        if ((key == u"Hidden" && value == u"true") ||
            (key == u"X-GNOME-Autostart-enabled" && value == u"false"))
            return LoginStart::off;
        if (key == u"Exec")
            exec = value;
    }
    if (exec.isEmpty())
        return LoginStart::off;
    return exec.endsWith(u" run") ? LoginStart::startAndRun : LoginStart::start;
}

std::optional<QString> AutostartEntry::write(const QString &path, LoginStart start,
                                             const QString &program)
{
    if (start == LoginStart::off) {
        QFile file(path);
        if (file.exists() && !file.remove())
            return file.errorString();
        return std::nullopt;
    }
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return u"Couldn’t create the folder %1"_s.arg(QFileInfo(path).absolutePath());
    // Readable by all, as desktop entries are: it holds nothing private.
    return AtomicFile::write(path, text(program, start == LoginStart::startAndRun).toUtf8(),
                             QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                                 QFile::ReadOther);
}

QString AutostartEntry::execArgument(const QString &argument)
{
    static constexpr QStringView reserved = u" \t\n\"'\\><~|&;$*?#()`";
    QString quoted = argument;
    if (argument.isEmpty() || std::any_of(argument.begin(), argument.end(),
                                          [](QChar c) { return reserved.contains(c); })) {
        QString inner;
        for (const QChar c : argument) {
            if (QStringView(u"\"`$\\").contains(c))
                inner += u'\\';
            inner += c;
        }
        quoted = u'"' + inner + u'"';
    }
    // Field codes start with '%'; a literal one is doubled. The string escapes come last: they
    // are undone first when the entry is read.
    quoted.replace(u'%', u"%%"_s);
    return escapedValue(quoted);
}

} // namespace corvane
