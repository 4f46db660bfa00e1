#include "PackedCommandBuilder.h"

#include "Whitespace.h"

#include <array>
#include <charconv>

namespace corvane {

namespace {

using namespace Qt::StringLiterals;

struct Pair {
    QString command;
    double delay;
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

QString remoteForm(const Pair &first, const QList<Pair> &rest)
{
    QStringList commands;
    commands.reserve(rest.size());
    for (const Pair &pair : rest)
        commands.append(pair.command);
    QString escaped = commands.join(u" && ");
    // Backslashes first, so the ones inserted by the later passes stay single.
    escaped.replace(u'\\', u"\\\\"_s);
    escaped.replace(u'"', u"\\\""_s);
    escaped.replace(u'\'', u"'\\''"_s);
    return first.command + QStringLiteral(" -t 'exec $SHELL -ilc \"") + escaped +
           QStringLiteral("\"'");
}

QString plainForm(const QList<Pair> &pairs)
{
    QStringList parts;
    const qsizetype last = pairs.size() - 1;
    for (qsizetype i = 0; i <= last; ++i) {
        parts.append(pairs.at(i).command);
        // NaN fails this comparison too, so it never sleeps.
        if (pairs.at(i).delay > 0 && i < last)
            parts.append(QStringLiteral("sleep ") + formatSeconds(pairs.at(i).delay));
    }
    return parts.join(u"; ");
}

} // namespace

QString PackedCommandBuilder::packed(const QList<CommandStep> &commands)
{
    QList<Pair> pairs;
    pairs.reserve(commands.size());
    for (const CommandStep &step : commands) {
        QString command = trimmedWhitespace(step.command);
        if (!command.isEmpty())
            pairs.append({std::move(command), step.delayAfter});
    }
    if (pairs.isEmpty())
        return {};
    if (pairs.size() == 1)
        return pairs.constFirst().command;
    if (mentionsSsh(pairs.constFirst().command))
        return remoteForm(pairs.constFirst(), pairs.mid(1));
    return plainForm(pairs);
}

QString PackedCommandBuilder::effectiveCommand(const TabGroup &group)
{
    if (group.packedOverride) {
        QString custom = trimmedWhitespace(*group.packedOverride);
        if (!custom.isEmpty())
            return custom;
    }
    return packed(group.commands);
}

} // namespace corvane
