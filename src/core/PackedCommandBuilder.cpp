#include "PackedCommandBuilder.h"

#include "TextEscapes.h"
#include "Whitespace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace corvane {

namespace {

using namespace Qt::StringLiterals;

// A wait as a command, and whether it can fail (a real wait; not the notice of an unusable one).
struct WaitPart {
    QString command;
    bool canGiveUp = false;
};

WaitPart waitPart(const QJsonValue &value)
{
    QString command = PackedCommandBuilder::waitCommand(value);
    const bool waits = !command.isEmpty() && readWait(value).condition.has_value();
    return {std::move(command), waits};
}

struct Pair {
    QString command;
    double delay;
    WaitPart wait; // after the command
};

// printf's "%g" (six significant digits), but independent of the process locale so the
// decimal separator is always a full stop.
QString formatSeconds(double seconds)
{
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), seconds,
                                      std::chars_format::general, 6);
    return QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
}

bool mentionsSsh(const QString &command)
{
    // Only U+0020 separates words here: "ssh\tbox" is deliberately not an SSH command.
    const auto words = QStringView(command).split(u' ', Qt::SkipEmptyParts);
    for (const QStringView word : words) {
        if (word == u"ssh")
            return true;
    }
    return false;
}

// Everything after the first command goes to the remote login shell inside double quotes, so the
// remote side's outer shell must expand nothing: backslashes first (so the ones inserted by the
// later passes stay single), then double quotes, `$` and backquotes; apostrophes close and reopen
// the local single quotes. fish reads `\\` inside single quotes as one backslash, so for a fish
// window each backslash stands outside the quotes, where every shell reads `\\` alike.
QString remoteForm(const QString &first, const QStringList &rest, bool localFish)
{
    const QString escaped = backslashEscaped(rest.join(u" && "), u"\"$`");
    QString quoted;
    quoted.reserve(escaped.size() * 2);
    for (const QChar c : std::as_const(escaped)) {
        if (c == u'\'')
            quoted += quotedApostrophe;
        else if (c == u'\\' && localFish)
            quoted += u"'\\\\'"_s;
        else
            quoted += c;
    }
    return first + QStringLiteral(" -t 'exec $SHELL -ilc \"") + quoted + QStringLiteral("\"'");
}

// A wait as a part of a `; ` chain: when it gives up, the rest of the line is skipped for the
// interactive shell the window ends in. (fish has no `{ …; }` to group the rest under `&&`.)
QString orSkip(const QString &wait, const QString &shell)
{
    return wait + u" || exec "_s + shell + u" -il"_s;
}

QString build(const TabGroup &group, const QString &shell)
{
    QList<Pair> pairs;
    pairs.reserve(group.commands.size());
    for (const CommandStep &step : group.commands) {
        QString command = trimmedWhitespace(step.command);
        if (!command.isEmpty())
            pairs.append({std::move(command), step.delayAfter, waitPart(step.waitFor)});
    }
    if (pairs.isEmpty())
        return {};
    // What follows the last command has nothing left to hold back.
    pairs.last().delay = 0;
    pairs.last().wait = {};

    const QString joiner = group.stopOnError ? u" && "_s : u"; "_s;
    QStringList parts;
    const auto addWait = [&](const WaitPart &wait) {
        if (!wait.command.isEmpty())
            parts.append(wait.canGiveUp && !group.stopOnError ? orSkip(wait.command, shell)
                                                              : wait.command);
    };
    addWait(waitPart(group.startWhen));

    if (pairs.size() >= 2 && mentionsSsh(pairs.constFirst().command)) {
        // Delays vanish on the remote side; waits run there, in one `&&` chain.
        QStringList rest;
        for (qsizetype i = 0; i < pairs.size(); ++i) {
            if (i > 0)
                rest.append(pairs.at(i).command);
            if (!pairs.at(i).wait.command.isEmpty())
                rest.append(pairs.at(i).wait.command);
        }
        const bool localFish = shell.section(u'/', -1).startsWith(u"fish");
        parts.append(remoteForm(pairs.constFirst().command, rest, localFish));
        return parts.join(joiner);
    }

    for (const Pair &pair : std::as_const(pairs)) {
        parts.append(pair.command);
        addWait(pair.wait);
        // NaN fails this comparison too, so it never sleeps.
        if (pair.delay > 0)
            parts.append(QStringLiteral("sleep ") + formatSeconds(pair.delay));
    }
    return parts.join(joiner);
}

// The loop every wait shares; $1 is the timeout in whole seconds, $2 what is waited for.
const QString waitLoop =
    u"b=$(date +%s) s=0.1; until %1; do n=$(($(date +%s)-b)); [ $n -lt $1 ] || "
    u"{ echo \"Corvane: gave up waiting for $2 after $1 s\" >&2; exit 1; }; "
    u"[ $n -lt 10 ] || s=0.25; sleep $s 2>/dev/null || sleep 1; done"_s;

// $3 the addresses to try, $4 the port. nc is not in every base system; bash's /dev/tcp then.
const QString portProbe = u"for h in $3; do if command -v nc >/dev/null; then nc -z -w1 $h $4; "
                          u"else bash -c \": </dev/tcp/$h/$4\"; fi 2>/dev/null && break; done"_s;
// $3 the URL. curl takes 2xx and 3xx (it neither follows a redirect nor fails on one); wget
// follows redirects and takes what they end at.
const QString urlProbe = u"if command -v curl >/dev/null; then curl -fso /dev/null -m 2 \"$3\"; "
                         u"else wget -qO /dev/null -T 2 \"$3\"; fi 2>/dev/null"_s;
const QString fileProbe = u"[ -e \"$3\" ]"_s;

} // namespace

QString PackedCommandBuilder::packed(const TabGroup &group, const QString &shell)
{
    return build(group, shell);
}

QString PackedCommandBuilder::packed(const QList<CommandStep> &commands)
{
    TabGroup group;
    group.commands = commands;
    return build(group, u"\"$SHELL\""_s);
}

QString PackedCommandBuilder::effectiveCommand(const TabGroup &group, const QString &shell)
{
    if (group.packedOverride) {
        QString custom = trimmedWhitespace(*group.packedOverride);
        if (!custom.isEmpty())
            return custom;
    }
    return build(group, shell);
}

QString PackedCommandBuilder::windowLine(const QString &command, const QString &shell,
                                         const QStringList &notices)
{
    // Also keeps the line from starting with "-", which a shell would read as options.
    QString line = u"trap : INT; "_s;
    for (const QString &notice : notices)
        line += echoCommand(notice) + u"; "_s;
    return line + command + u"; exec "_s + shell + u" -il"_s;
}

QString PackedCommandBuilder::waitCommand(const WaitCondition &condition)
{
    const auto seconds = qint64(std::max(1.0, std::ceil(std::min(condition.timeoutSeconds, 1e9))));
    QString probe;
    QStringList targets;
    switch (condition.kind) {
    case WaitCondition::Kind::port:
        probe = portProbe;
        // Servers listen on one or the other.
        targets = {condition.host == "localhost"_L1 ? u"127.0.0.1 ::1"_s : condition.host,
                   QString::number(condition.port)};
        break;
    case WaitCondition::Kind::url:
        probe = urlProbe;
        targets = {condition.target};
        break;
    case WaitCondition::Kind::file:
        probe = fileProbe;
        targets = {condition.target};
        break;
    }
    QString command = u"sh -c '"_s + waitLoop.arg(probe) + u"' corvane-wait "_s +
                      QString::number(seconds) + u' ' + shellQuoted(condition.describe());
    for (const QString &target : std::as_const(targets)) {
        // `~` stays outside the quotes, for the shell that runs the line to expand.
        if (condition.kind == WaitCondition::Kind::file &&
            (target == u"~" || target.startsWith(u"~/")))
            command += u" ~"_s + (target.size() > 1 ? shellQuoted(target.mid(1)) : QString());
        else
            command += u' ' + shellQuoted(target);
    }
    return command;
}

QString PackedCommandBuilder::waitCommand(const QJsonValue &value)
{
    if (value.isUndefined() || value.isNull())
        return {};
    const WaitReading reading = readWait(value);
    if (!reading.condition)
        return echoCommand(u"Corvane: not waiting: "_s + reading.problem);
    return waitCommand(*reading.condition);
}

QString PackedCommandBuilder::echoCommand(const QString &text)
{
    return u"echo "_s + shellQuoted(text);
}

QString PackedCommandBuilder::shellQuoted(const QString &word)
{
    // No '=' (a first word with one is an assignment), no '~' (expanded at a word's start).
    const auto plain = [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
               QStringView(u"_@%+:,./-").contains(c);
    };
    if (!word.isEmpty() && std::all_of(word.begin(), word.end(), plain))
        return word;
    QString quoted = word;
    quoted.replace(u'\'', quotedApostrophe.toString());
    return u'\'' + quoted + u'\'';
}

} // namespace corvane
