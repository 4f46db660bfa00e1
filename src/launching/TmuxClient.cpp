#include "TmuxClient.h"

#include <QCoroProcess>
#include <QProcess>
#include <QTimer>

namespace corvane {

using namespace Qt::StringLiterals;

TmuxClient::TmuxClient(QString program, QString server)
    : m_program(std::move(program)), m_server(std::move(server))
{
}

ProcessCommand TmuxClient::command(const QStringList &arguments) const
{
    return {m_program, QStringList{u"-L"_s, m_server} + arguments};
}

namespace {
int underWay = 0; // the event loop's thread only
} // namespace

int TmuxClient::runsUnderWay()
{
    return underWay;
}

QCoro::Task<TmuxReply> TmuxClient::run(QStringList arguments,
                                       std::chrono::milliseconds timeout) const
{
    struct Counted {
        Counted() { ++underWay; }
        ~Counted() { --underWay; }
        Q_DISABLE_COPY_MOVE(Counted)
    } const counted;
    const ProcessCommand what = command(arguments);
    QProcess process;
    process.setProgram(what.program);
    process.setArguments(what.arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!co_await qCoro(process).start()) {
        co_return TmuxReply{false, {}, process.errorString().toUtf8()};
    }
    // A client that hangs is stopped, which ends the wait below. (No timeout on the wait itself:
    // QCoro 0.8 may then resume a finished wait when the signal and the timeout meet.)
    QTimer::singleShot(timeout, &process, [&process] { process.kill(); });
    if (process.state() != QProcess::NotRunning)
        co_await qCoro(process).waitForFinished(-1);
    const bool ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    co_return TmuxReply{ok, process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace corvane
