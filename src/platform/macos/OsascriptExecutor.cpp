#include "OsascriptExecutor.h"

#include <QEventLoop>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <charconv>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// Said when the process outlived the loop that waited for it: the application is quitting.
constexpr std::int64_t userCanceled = -128;

// The result printed by osascript as a 32-bit integer: plain decimal only, anything else (text, a
// real such as 1.2E+9, a number out of range) is 0.
std::int32_t resultValue(QByteArrayView standardOutput)
{
    const QByteArrayView text = standardOutput.trimmed();
    std::int32_t value = 0;
    const char *end = text.data() + text.size();
    // from_chars takes no "+" and no blanks, so only plain decimal gets through.
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.isEmpty() || error != std::errc() || stop != end)
        return 0;
    return value;
}

// The number and message of an error report such as
// "0:12: execution error: Terminal got an error: Not authorized … (-1743)".
AppleScriptFailure failure(const QString &standardError)
{
    QString report = standardError.trimmed();
    // The report starts with the character range of the failing statement ("12:20: "); lines
    // printed before it (a script's log, framework warnings) are not part of it.
    static const QRegularExpression rangePrefix(u"^\\d+:\\d+: "_s,
                                                QRegularExpression::MultilineOption);
    qsizetype start = -1;
    for (auto matches = rangePrefix.globalMatch(report); matches.hasNext();)
        start = matches.next().capturedStart();
    if (start > 0)
        report = report.mid(start);

    // Messages are localised and may hold parentheses of their own: only a group at the very
    // end is the number.
    static const QRegularExpression trailingNumber(u"\\s*\\((-?\\d+)\\)$"_s);
    AppleScriptFailure result;
    qsizetype messageEnd = report.size();
    if (const auto match = trailingNumber.match(report); match.hasMatch()) {
        bool ok = false;
        const qint64 number = match.captured(1).toLongLong(&ok);
        if (ok) {
            result.number = number;
            messageEnd = match.capturedStart();
        }
    }
    static constexpr QStringView marker = u"error: ";
    if (const qsizetype at = report.indexOf(marker); at >= 0 && at < messageEnd) {
        const qsizetype from = std::min(at + marker.size(), messageEnd);
        result.message = report.mid(from, messageEnd - from);
    }
    return result;
}

} // namespace

OsascriptExecutor::OsascriptExecutor(QString program, std::chrono::milliseconds deadline)
    : m_program(std::move(program)), m_deadline(deadline)
{
}

AppleScriptOutcome OsascriptExecutor::execute(const QString &source) const
{
    QProcess process;
    process.setProgram(m_program);
    process.setArguments({u"-"_s});
    process.start();
    if (!process.waitForStarted())
        return AppleScriptFailure{0, u"Couldn’t start osascript: "_s + process.errorString()};
    // Written and closed from the event loop below, so that a large script cannot stall on a
    // full pipe.
    process.write(source.toUtf8());
    process.closeWriteChannel();

    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    bool pastDeadline = false;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
        pastDeadline = true;
        loop.quit();
    });
    deadline.start(m_deadline);
    if (process.state() != QProcess::NotRunning)
        loop.exec();

    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        if (pastDeadline) {
            return AppleScriptFailure{
                timedOut,
                u"osascript gave no answer within %1 seconds. If macOS is asking whether Corvane "
                u"may control your terminal app, answer that question and try again."_s.arg(
                    std::chrono::duration_cast<std::chrono::seconds>(m_deadline).count())};
        }
        return AppleScriptFailure{userCanceled, u"Corvane quit before the script finished."_s};
    }

    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return AppleScriptResult{resultValue(process.readAllStandardOutput())};
    return failure(QString::fromUtf8(process.readAllStandardError()));
}

} // namespace corvane
