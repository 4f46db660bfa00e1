#include "InstanceProtocol.h"

namespace corvane::instance {

namespace {

QByteArray withoutLineFeed(const QByteArray &line)
{
    return line.endsWith('\n') ? line.chopped(1) : line;
}

// Whatever answers is printed on the user's terminal: no escape sequences, no lines of its own.
QString printable(QString text)
{
    text.removeIf([](QChar c) {
        return (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format) &&
               c != u'\n';
    });
    return text.replace(u'\n', u' ');
}

} // namespace

QByteArray encode(Request request)
{
    switch (request) {
    case Request::edit:
        return "edit\n";
    case Request::run:
        return "run\n";
    case Request::runNoWait:
        return "run --no-wait\n";
    }
    return {};
}

QByteArray encode(const Reply &reply)
{
    if (reply.ok)
        return "ok\n";
    return "refused " + printable(reply.reason).toUtf8() + '\n';
}

std::optional<Request> decodeRequest(const QByteArray &line)
{
    const QByteArray word = withoutLineFeed(line);
    if (word == "run")
        return Request::run;
    if (word == "edit")
        return Request::edit;
    if (word == "run --no-wait")
        return Request::runNoWait;
    return std::nullopt;
}

std::optional<Reply> decodeReply(const QByteArray &line)
{
    const QByteArray text = withoutLineFeed(line);
    if (text == "ok")
        return Reply{};
    if (text.startsWith("refused "))
        return Reply{false, printable(QString::fromUtf8(text.mid(8)))};
    return std::nullopt;
}

} // namespace corvane::instance
