#include "TmuxClient.h"

#include <QCoroProcess>
#include <QProcess>

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

QCoro::Task<TmuxReply> TmuxClient::run(QStringList arguments,
                                       std::chrono::milliseconds timeout) const
{
    const ProcessCommand what = command(arguments);
    QProcess process;
    process.setProgram(what.program);
    process.setArguments(what.arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!co_await qCoro(process).start()) {
        co_return TmuxReply{false, {}, process.errorString().toUtf8()};
    }
    // It may have ended already, before anything waited for it.
    if (process.state() != QProcess::NotRunning &&
        !co_await qCoro(process).waitForFinished(timeout)) {
        process.kill();
        co_await qCoro(process).waitForFinished(std::chrono::seconds(1));
        co_return TmuxReply{false, {}, "tmux did not answer"};
    }
    const bool ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    co_return TmuxReply{ok, process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace corvane
