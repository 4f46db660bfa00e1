// The macOS login item, written into a private home folder and read back both by Corvane and by
// Python's plistlib, which reads property lists as macOS's own reader does.
#include "LaunchAgent.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

const QString label = u"io.github.corvane.Corvane"_s;
const QString bundled = u"/Applications/Corvane.app/Contents/MacOS/Corvane"_s;
// Every character XML treats specially, a CDATA end, quotes and text beyond ASCII.
const QString awkward =
    u"/Users/zoë/R&D <tools> \"q\" 's' ]]> 日本/Corvane.app/Contents/MacOS/Corvane"_s;

// Prints each key with its Python type, arrays item by item, as JSON. "disable" first writes the
// list again through plistlib with Disabled set, as another tool would.
constexpr char plistTool[] = R"py(
import json, plistlib, sys
with open(sys.argv[2], "rb") as f:
    plist = plistlib.load(f, fmt=plistlib.FMT_XML)
if sys.argv[1] == "disable":
    plist["Disabled"] = True
    with open(sys.argv[2], "wb") as f:
        plistlib.dump(plist, f, fmt=plistlib.FMT_XML)
typed = lambda v: [type(v).__name__, [typed(i) for i in v] if isinstance(v, list) else v]
print(json.dumps({key: typed(value) for key, value in plist.items()}))
)py";

QByteArray plist(const QByteArray &body)
{
    // Not a raw string: moc would take its "//" for a comment.
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict>" +
           body + "</dict></plist>\n";
}

QByteArray arguments(const QByteArrayList &items)
{
    return "<key>ProgramArguments</key><array><string>" + items.join("</string><string>") +
           "</string></array>";
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

} // namespace

class LaunchAgentTest final : public QObject {
    Q_OBJECT

    QTemporaryDir home;

    QString folder() const { return home.filePath(u"Library/LaunchAgents"_s); }
    QString agent() const { return folder() + u'/' + label + u".plist"_s; }

    // plistlib's reading of the agent (see plistTool), or its error output.
    QString viaPlistlib(const QString &mode)
    {
        QProcess process;
        process.start(QStandardPaths::findExecutable(u"python3"_s),
                      {u"-c"_s, QString::fromUtf8(plistTool), mode, agent()});
        if (!process.waitForFinished(60000) || process.exitCode() != 0)
            return process.errorString() + QString::fromUtf8(process.readAllStandardError());
        return QString::fromUtf8(QJsonDocument::fromJson(process.readAllStandardOutput())
                                     .toJson(QJsonDocument::Compact));
    }

    static QString expectedKeys(const QString &program, bool run, bool disabled)
    {
        const auto typed = [](const QString &type, const QJsonValue &value) {
            return QJsonArray{type, value};
        };
        QJsonArray items{typed(u"str"_s, program)};
        if (run)
            items.append(typed(u"str"_s, u"run"_s));
        QJsonObject keys{{u"Label"_s, typed(u"str"_s, label)},
                         {u"ProgramArguments"_s, typed(u"list"_s, items)},
                         {u"RunAtLoad"_s, typed(u"bool"_s, true)},
                         {u"ProcessType"_s, typed(u"str"_s, u"Interactive"_s)},
                         {u"LimitLoadToSessionType"_s, typed(u"str"_s, u"Aqua"_s)}};
        if (disabled)
            keys.insert(u"Disabled"_s, typed(u"bool"_s, true));
        return QString::fromUtf8(QJsonDocument(keys).toJson(QJsonDocument::Compact));
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("HOME", QFile::encodeName(home.path()));
        QCOMPARE(LaunchAgent::path(label), agent());
    }

    // Every case starts without the folder, so writing has to create it.
    void init()
    {
        QFile::setPermissions(folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(QDir(home.filePath(u"Library"_s)).removeRecursively());
    }

    // Written, read back by both readers, and 0644 whatever the umask or an earlier copy's mode;
    // another tool's Disabled then turns it off.
    void writesWhatLaunchdReads_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<LoginStart>("start");
        QTest::addColumn<int>("umask");
        QTest::addColumn<QByteArray>("earlier"); // null: none
        const QByteArray ran = LaunchAgent::text(label, bundled, true);
        QTest::newRow("start") << bundled << LoginStart::start << 022 << QByteArray();
        QTest::newRow("start and run") << bundled << LoginStart::startAndRun << 0 << QByteArray();
        QTest::newRow("escaped path") << awkward << LoginStart::startAndRun << 077 << QByteArray();
        QTest::newRow("over a writable copy") << awkward << LoginStart::start << 022 << ran;
    }

    void writesWhatLaunchdReads()
    {
        QFETCH(QString, program);
        QFETCH(LoginStart, start);
        QFETCH(int, umask);
        QFETCH(QByteArray, earlier);
        if (!earlier.isNull())
            QVERIFY(QDir().mkpath(folder()) && writeFile(agent(), earlier) &&
                    ::chmod(QFile::encodeName(agent()).constData(), 0666) == 0);
        const mode_t previous = ::umask(mode_t(umask));
        const auto problem = LaunchAgent::write(agent(), start, label, program);
        ::umask(previous);
        QCOMPARE(problem, std::nullopt);
        QCOMPARE(LaunchAgent::read(agent()), start);
        struct stat info {};
        QVERIFY(::stat(QFile::encodeName(agent()).constData(), &info) == 0);
        QCOMPARE(info.st_mode & 07777, 0644u);
        QCOMPARE(QDir(folder()).entryList(QDir::Files | QDir::Hidden).size(), 1); // no leftovers

        const bool run = start == LoginStart::startAndRun;
        QCOMPARE(viaPlistlib(u"describe"_s), expectedKeys(program, run, false));
        QCOMPARE(viaPlistlib(u"disable"_s), expectedKeys(program, run, true));
        QCOMPARE(LaunchAgent::read(agent()), LoginStart::off);
    }

    // Switching back and forth; off removes the agent and nothing else.
    void offRemovesOnlyTheAgent()
    {
        const QString other = folder() + u"/com.example.other.plist"_s;
        QVERIFY(QDir().mkpath(folder()) && writeFile(other, "other"));
        for (LoginStart wanted :
             {LoginStart::start, LoginStart::startAndRun, LoginStart::start, LoginStart::off,
              LoginStart::off, LoginStart::startAndRun, LoginStart::off}) {
            QCOMPARE(LaunchAgent::write(agent(), wanted, label, bundled), std::nullopt);
            QCOMPARE(LaunchAgent::read(agent()), wanted);
            QCOMPARE(QFile::exists(agent()), wanted != LoginStart::off);
        }
        QVERIFY(QFile::exists(other));
    }

    // Agents changed by hand or by other tools, and files that are no agent at all.
    void readsWhatOthersWrite_data()
    {
        QTest::addColumn<QByteArray>("contents"); // null: no file; "/": a folder in its place
        QTest::addColumn<LoginStart>("expected");
        const QByteArray argv = arguments({"/A/Corvane", "run"});
        const QByteArray ours = LaunchAgent::text(label, bundled, true);
        QTest::newRow("missing") << QByteArray() << LoginStart::off;
        QTest::newRow("a folder") << QByteArray("/") << LoginStart::off;
        QTest::newRow("disabled") << plist("<key>Disabled</key><true/>" + argv) << LoginStart::off;
        QTest::newRow("not disabled")
            << plist(argv + "<key>Disabled</key><false/>") << LoginStart::startAndRun;
        QTest::newRow("run not last")
            << plist(arguments({"/A/Corvane", "run", "-v"})) << LoginStart::start;
        QTest::newRow("run as the program") << plist(arguments({"run"})) << LoginStart::start;
        QTest::newRow("no program") << plist("<key>RunAtLoad</key><true/>") << LoginStart::off;
        // The same key names inside another value are not the agent's.
        QTest::newRow("nested keys")
            << plist("<key>EnvironmentVariables</key><dict><key>Disabled</key><true/>"
                     "<key>ProgramArguments</key><array><string>run</string></array></dict>" +
                     arguments({"/A/Corvane"}))
            << LoginStart::start;
        QTest::newRow("comments and references")
            << plist("<!-- by hand -->" + arguments({"/A/R&amp;D/Corvane", "r&#117;n"}))
            << LoginStart::startAndRun;
        QTest::newRow("cut short") << ours.left(ours.indexOf("<key>RunAtLoad")) << LoginStart::off;
        QTest::newRow("no end") << ours.left(ours.indexOf("</plist>")) << LoginStart::off;
        QTest::newRow("value missing") << plist(argv + "<key>Disabled</key>") << LoginStart::off;
        // What `defaults write` and `plutil -convert binary1` leave is not read: shown as off.
        QTest::newRow("binary") << QByteArray("bplist00\xd1\x01\x02", 11) << LoginStart::off;
        QTest::newRow("not a plist") << QByteArray("<html><body/></html>") << LoginStart::off;
    }

    void readsWhatOthersWrite()
    {
        QFETCH(QByteArray, contents);
        QFETCH(LoginStart, expected);
        QVERIFY(QDir().mkpath(contents == "/" ? agent() : folder()));
        if (!contents.isNull() && contents != "/")
            QVERIFY(writeFile(agent(), contents));
        QCOMPARE(LaunchAgent::read(agent()), expected);
    }

    // A change that fails gives the reason and leaves the setting as it was.
    void failuresGiveAReason_data()
    {
        QTest::addColumn<QString>("blocker"); // what is in the way after `before` is written
        QTest::addColumn<LoginStart>("before");
        QTest::addColumn<LoginStart>("wanted");
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("reason"); // a part of it
        const LoginStart off = LoginStart::off, start = LoginStart::start;
        const LoginStart run = LoginStart::startAndRun;
        QTest::newRow("read-only folder") << u"read-only"_s << start << run << bundled << QString();
        QTest::newRow("read-only folder, removal")
            << u"read-only"_s << run << off << bundled << QString();
        QTest::newRow("folder is a file")
            << u"folder is a file"_s << off << start << bundled << u"Couldn’t create the folder"_s;
        QTest::newRow("agent is a folder")
            << u"agent is a folder"_s << off << run << bundled << QString();
        QTest::newRow("agent is a folder, removal")
            << u"agent is a folder"_s << off << off << bundled << QString();
        QTest::newRow("translocated")
            << QString() << off << start
            << u"/private/var/folders/xy/T/AppTranslocation/1F2E/d/Corvane.app/Contents/MacOS/"
               u"Corvane"_s
            << u"Move Corvane to the Applications folder"_s;
        QTest::newRow("carriage return")
            << QString() << start << run << u"/Applications/Cor\rvane"_s << u"characters"_s;
    }

    void failuresGiveAReason()
    {
        QFETCH(QString, blocker);
        QFETCH(LoginStart, before);
        QFETCH(LoginStart, wanted);
        QFETCH(QString, program);
        QFETCH(QString, reason);
        if (blocker == u"read-only" && ::geteuid() == 0)
            QSKIP("root writes into read-only folders");
        QCOMPARE(LaunchAgent::write(agent(), before, label, bundled), std::nullopt);
        if (blocker == u"read-only")
            QVERIFY(QFile::setPermissions(folder(), QFile::ReadOwner | QFile::ExeOwner));
        else if (blocker == u"agent is a folder")
            QVERIFY(QDir().mkpath(agent()));
        else if (blocker == u"folder is a file")
            QVERIFY(QDir().mkpath(home.filePath(u"Library"_s)) && writeFile(folder(), "x"));

        const auto problem = LaunchAgent::write(agent(), wanted, label, program);
        QVERIFY2(problem && !problem->trimmed().isEmpty(), "no reason given");
        QVERIFY2(problem->contains(reason), qPrintable(*problem));
        QCOMPARE(LaunchAgent::read(agent()), before);
    }
};

QTEST_GUILESS_MAIN(LaunchAgentTest)
#include "tst_launchagent.moc"
