// The macOS login item, written into a private home folder and read back both by Corvane and by
// Python's plistlib, which reads property lists as macOS's own reader does.
#include "LaunchAgent.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

const QString label = u"io.github.corvane.Corvane"_s;
const QString bundled = u"/Applications/Corvane.app/Contents/MacOS/Corvane"_s;

// Prints the agent as JSON, then writes it back with Disabled set, as another tool would.
constexpr char plistTool[] = R"py(
import json, pathlib, plistlib, sys
path = pathlib.Path(sys.argv[1])
plist = plistlib.loads(path.read_bytes(), fmt=plistlib.FMT_XML)
print(json.dumps(plist))
path.write_bytes(plistlib.dumps(dict(plist, Disabled=True), fmt=plistlib.FMT_XML))
)py";

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

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("HOME", QFile::encodeName(home.path()));
        QCOMPARE(LaunchAgent::path(label), agent());
    }

    // Every case starts without the folder, so writing has to create it.
    void init() { QVERIFY(QDir(home.filePath(u"Library"_s)).removeRecursively()); }

    // A path with every character XML treats specially, read back by both readers, and 0644
    // whatever the umask or the mode of an earlier copy that anyone may write; another tool's
    // Disabled then turns it off.
    void writesReadsAndRemoves()
    {
        const QString program =
            u"/Users/zoë/R&D <tools> \"q\" 's' ]]> 日本/Corvane.app/Contents/MacOS/Corvane"_s;
        const QByteArray path = QFile::encodeName(agent());
        for (const auto &[start, umask, earlier] :
             {std::tuple{LoginStart::start, 0, false},
              std::tuple{LoginStart::startAndRun, 022, true}}) {
            if (earlier)
                QVERIFY(writeFile(agent(), "x") && ::chmod(path.constData(), 0666) == 0);
            const mode_t previous = ::umask(mode_t(umask));
            const auto problem = LaunchAgent::write(agent(), start, label, program);
            ::umask(previous);
            QCOMPARE(problem, std::nullopt);
            QCOMPARE(LaunchAgent::read(agent()), start);
            struct stat info {};
            QVERIFY(::stat(path.constData(), &info) == 0);
            QCOMPARE(info.st_mode & 07777, 0644u);

            QProcess python;
            python.start(QStandardPaths::findExecutable(u"python3"_s),
                         {u"-c"_s, QString::fromUtf8(plistTool), agent()});
            QVERIFY2(python.waitForFinished(60000) && python.exitCode() == 0,
                     python.readAllStandardError().constData());
            const QJsonObject keys{{u"Label"_s, label},
                                   {u"ProgramArguments"_s, start == LoginStart::startAndRun
                                                               ? QJsonArray{program, u"run"_s}
                                                               : QJsonArray{program}},
                                   {u"RunAtLoad"_s, true},
                                   {u"ProcessType"_s, u"Interactive"_s},
                                   {u"LimitLoadToSessionType"_s, u"Aqua"_s}};
            QCOMPARE(QJsonDocument::fromJson(python.readAllStandardOutput()).toJson(),
                     QJsonDocument(keys).toJson());
            QCOMPARE(LaunchAgent::read(agent()), LoginStart::off);
        }
        // Off removes the agent and nothing else, and is no error when there is none.
        const QString other = folder() + u"/com.example.other.plist"_s;
        QVERIFY(writeFile(other, "other"));
        for (int i = 0; i < 2; ++i)
            QCOMPARE(LaunchAgent::write(agent(), LoginStart::off, label, bundled), std::nullopt);
        QVERIFY(!QFile::exists(agent()) && QFile::exists(other));
    }

    // Agents changed by hand or by other tools, and files that are no agent at all.
    void readsWhatOthersWrite_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<LoginStart>("expected");
        const auto plist = [](const QByteArray &body) {
            return "<plist><dict>" + body + "</dict></plist>";
        };
        const auto arguments = [](const QByteArrayList &items) {
            return "<key>ProgramArguments</key><array><string>" + items.join("</string><string>") +
                   "</string></array>";
        };
        const QByteArray ours = LaunchAgent::text(label, bundled, true);
        QTest::newRow("by hand") << plist("<!-- c -->" +
                                          arguments({"/A/R&amp;D/Corvane", "r&#117;n"}) +
                                          "<key>Disabled</key><false/>")
                                 << LoginStart::startAndRun;
        QTest::newRow("run not last")
            << plist(arguments({"/A/Corvane", "run", "-v"})) << LoginStart::start;
        QTest::newRow("no program") << plist("<key>RunAtLoad</key><true/>") << LoginStart::off;
        // The same key names inside another value are not the agent's.
        QTest::newRow("nested keys")
            << plist("<key>EnvironmentVariables</key><dict><key>Disabled</key><true/>"
                     "<key>ProgramArguments</key><array><string>run</string></array></dict>" +
                     arguments({"/A/Corvane"}))
            << LoginStart::start;
        QTest::newRow("cut short") << ours.left(ours.indexOf("<key>RunAtLoad")) << LoginStart::off;
    }
    void readsWhatOthersWrite()
    {
        QFETCH(QByteArray, contents);
        QVERIFY(QDir().mkpath(folder()) && writeFile(agent(), contents));
        QTEST(LaunchAgent::read(agent()), "expected");
    }

    // A change that fails gives the reason and leaves no agent.
    void failuresGiveAReason()
    {
        const QString translocated = u"/private/var/folders/x/AppTranslocation/1F/d/Corvane.app"_s;
        // A folder in the agent's place, the change, the program and a part of the reason.
        const std::tuple<bool, LoginStart, QString, QString> cases[] = {
            {true, LoginStart::start, bundled, QString()},
            {true, LoginStart::off, bundled, QString()},
            {false, LoginStart::start, translocated, u"Move Corvane to the Applications folder"_s},
            {false, LoginStart::startAndRun, u"/Applications/Cor\rvane"_s, u"characters"_s},
        };
        for (const auto &[blocked, wanted, program, reason] : cases) {
            QVERIFY(QDir(folder()).removeRecursively() &&
                    QDir().mkpath(blocked ? agent() : folder()));
            const auto problem = LaunchAgent::write(agent(), wanted, label, program);
            QVERIFY2(problem && !problem->trimmed().isEmpty() && problem->contains(reason),
                     qPrintable(program + u": "_s + problem.value_or(u"no reason"_s)));
            QCOMPARE(LaunchAgent::read(agent()), LoginStart::off);
        }
    }
};

QTEST_GUILESS_MAIN(LaunchAgentTest)
#include "tst_launchagent.moc"
