#include "LaunchAgent.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// What launchd takes from the agent to decide whether and how it starts Corvane.
struct Agent {
    bool disabled = false;
    QStringList arguments;
};

// The agent in an XML property list; nothing when the file is not one.
std::optional<Agent> parse(QIODevice &device)
{
    QXmlStreamReader xml(&device);
    if (!xml.readNextStartElement() || xml.name() != u"plist" || !xml.readNextStartElement() ||
        xml.name() != u"dict")
        return std::nullopt;
    Agent agent;
    // The top dictionary alternates <key> and a value; other keys' values, nested dictionaries
    // included, are skipped whole.
    while (xml.readNextStartElement()) {
        if (xml.name() != u"key")
            return std::nullopt;
        const QString key = xml.readElementText();
        if (!xml.readNextStartElement())
            return std::nullopt;
        if (key == u"Disabled") {
            agent.disabled = xml.name() == u"true";
            xml.skipCurrentElement();
        } else if (key == u"ProgramArguments" && xml.name() == u"array") {
            while (xml.readNextStartElement())
                agent.arguments.append(xml.readElementText());
        } else {
            xml.skipCurrentElement();
        }
    }
    // Read to the end, so that a file cut short counts as unreadable.
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError())
        return std::nullopt;
    return agent;
}

// XML 1.0 cannot carry most control characters, and a carriage return comes back as a line feed.
bool survivesXml(const QString &text)
{
    return QStringView(text).isValidUtf16() && std::none_of(text.begin(), text.end(), [](QChar c) {
               return c.unicode() < 0x20 && c != u'\t' && c != u'\n';
           });
}

} // namespace

QString LaunchAgent::path(const QString &label)
{
    return QDir::homePath() + u"/Library/LaunchAgents/"_s + label + u".plist"_s;
}

QByteArray LaunchAgent::text(const QString &label, const QString &program, bool run)
{
    QByteArray text;
    QXmlStreamWriter xml(&text);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(-1); // one tab, as Apple's own tools write property lists
    xml.writeStartDocument();
    xml.writeDTD(u"<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                 u"\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"_s);
    xml.writeStartElement(u"plist"_s);
    xml.writeAttribute(u"version"_s, u"1.0"_s);
    xml.writeStartElement(u"dict"_s);
    xml.writeTextElement(u"key"_s, u"Label"_s);
    xml.writeTextElement(u"string"_s, label);
    xml.writeTextElement(u"key"_s, u"ProgramArguments"_s);
    xml.writeStartElement(u"array"_s);
    xml.writeTextElement(u"string"_s, program);
    if (run)
        xml.writeTextElement(u"string"_s, u"run"_s);
    xml.writeEndElement();
    xml.writeTextElement(u"key"_s, u"RunAtLoad"_s);
    xml.writeEmptyElement(u"true"_s);
    // Interactive: an application's resource limits, not those launchd gives background jobs.
    xml.writeTextElement(u"key"_s, u"ProcessType"_s);
    xml.writeTextElement(u"string"_s, u"Interactive"_s);
    // Only a graphical login: an SSH login loads agents too, and Corvane needs the window server.
    xml.writeTextElement(u"key"_s, u"LimitLoadToSessionType"_s);
    xml.writeTextElement(u"string"_s, u"Aqua"_s);
    xml.writeEndDocument();
    return text;
}

LoginStart LaunchAgent::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return LoginStart::off;
    const std::optional<Agent> agent = parse(file);
    if (!agent || agent->disabled || agent->arguments.isEmpty())
        return LoginStart::off;
    return agent->arguments.size() > 1 && agent->arguments.constLast() == u"run"
               ? LoginStart::startAndRun
               : LoginStart::start;
}

std::optional<QString> LaunchAgent::write(const QString &path, LoginStart start,
                                          const QString &label, const QString &program)
{
    if (start == LoginStart::off) {
        // A job that launchd loaded at this login stays loaded until logout; booting it out now
        // would end this very Corvane, which it started.
        QFile file(path);
        if (file.exists() && !file.remove())
            return file.errorString();
        return std::nullopt;
    }
    // Gatekeeper runs a downloaded application that was never moved from a read-only copy at a
    // random path, which is gone after the next restart.
    if (program.contains(u"/AppTranslocation/"))
        return u"macOS is running Corvane from a temporary copy. Move Corvane to the Applications "
               u"folder, open it from there and try again."_s;
    if (!survivesXml(program) || !survivesXml(label))
        return u"The path %1 has characters a launch agent can’t hold."_s.arg(program);
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return u"Couldn’t create the folder %1"_s.arg(folder);
    QSaveFile file(path);
    const QByteArray contents = text(label, program, start == LoginStart::startAndRun);
    // launchd ignores an agent that others can write, whatever the umask or an earlier copy had.
    constexpr auto mode =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(mode) ||
        file.write(contents) != contents.size() || !file.commit())
        return file.errorString();
    return std::nullopt;
}

} // namespace corvane
