#include "ConfigCodec.h"
#include "ConfigStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <memory>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr QFileDevice::Permissions ownerReadWrite =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr QFileDevice::Permissions ownerAll =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;

// Permissions as the file system has them; Qt adds the "user" bits for the current owner.
QFileDevice::Permissions modeOf(const QString &path)
{
    return QFileInfo(path).permissions() &
           (QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
            QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
            QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

AppConfig sampleConfig(const QString &name)
{
    AppConfig config;
    config.terminalApp = TerminalApp::alacritty;
    config.groups[0].name = name;
    config.groups[0].commands[0].command = u"cd ~/src"_s;
    config.groups[0].commands[0].delayAfter = 2;
    return config;
}

bool isDefaultShape(const AppConfig &config)
{
    return config.terminalApp == TerminalApp::appleTerminal && config.groups.size() == 1 &&
           config.groups[0].name == u"Window 1"_s && config.groups[0].commands.size() == 1 &&
           config.groups[0].commands[0].command.isEmpty() && !config.groups[0].packedOverride;
}

} // namespace

class TestConfigStore final : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString base() const { return m_dir->path(); }
    QString configPath() const { return m_dir->filePath(u"Corvane/config.json"_s); }
    QString oldPath() const { return m_dir->filePath(u"Lumaret/config.json"_s); }

private Q_SLOTS:
    void init()
    {
        // A fresh support folder for every test.
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    void firstStartWritesNothingUntilSaved()
    {
        const QString base = m_dir->filePath(u"missing/parents"_s);
        ConfigStore store(base);
        const QString folder = base + u"/Corvane"_s;
        QVERIFY(QFileInfo(folder).isDir());
        QCOMPARE(modeOf(folder), ownerAll);
        QCOMPARE(store.fileUrl(), folder + u"/config.json"_s);
        QVERIFY(isDefaultShape(store.config()));
        QVERIFY(QDir(folder).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden |
                                     QDir::System));

        store.save();
        QCOMPARE(contents(store.fileUrl()), *ConfigCodec::encode(store.config()));
        QCOMPARE(modeOf(store.fileUrl()), ownerReadWrite);
        // Only config.json: no temporary file left behind.
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{u"config.json"_s});
    }

    void savedConfigurationLoadsAtNextStart()
    {
        const AppConfig config = sampleConfig(u"Dev"_s);
        {
            ConfigStore store(base());
            store.setConfig(config);
            store.save();
        }
        ConfigStore again(base());
        QCOMPARE(again.config(), config);
    }

    void oldFileIsCopiedNotMoved()
    {
        const QByteArray old = *ConfigCodec::encode(sampleConfig(u"From Lumaret"_s));
        writeFile(oldPath(), old);

        ConfigStore store(base());
        QCOMPARE(store.config(), *ConfigCodec::decode(old));
        QCOMPARE(contents(configPath()), old);
        QCOMPARE(modeOf(configPath()), ownerReadWrite);
        QCOMPARE(contents(oldPath()), old);

        // Deleting the new file brings the old configuration back next time.
        QVERIFY(QFile::remove(configPath()));
        ConfigStore again(base());
        QCOMPARE(again.config().groups[0].name, u"From Lumaret"_s);
    }

    void oldFileIgnoredWhenNewOneExists_data()
    {
        QTest::addColumn<QByteArray>("current");
        QTest::newRow("readable") << *ConfigCodec::encode(sampleConfig(u"Current"_s));
        QTest::newRow("unreadable") << QByteArray("{ not json");
    }

    void oldFileIgnoredWhenNewOneExists()
    {
        QFETCH(QByteArray, current);
        const QByteArray old = *ConfigCodec::encode(sampleConfig(u"From Lumaret"_s));
        writeFile(oldPath(), old);
        writeFile(configPath(), current);

        ConfigStore store(base());
        if (const auto decoded = ConfigCodec::decode(current))
            QCOMPARE(store.config(), *decoded);
        else
            QVERIFY(isDefaultShape(store.config()));
        QCOMPARE(contents(configPath()), current);
        QCOMPARE(contents(oldPath()), old);
    }

    void unreadableFileKeptAsCopyAtFirstSave()
    {
        const QByteArray garbage("\x00\x01garbage{", 10);
        const QString copyPath = configPath() + u".unreadable"_s;
        writeFile(configPath(), garbage);
        writeFile(copyPath, "an older copy");

        ConfigStore store(base());
        QVERIFY(isDefaultShape(store.config()));
        QCOMPARE(contents(configPath()), garbage);
        QCOMPARE(contents(copyPath), QByteArray("an older copy"));

        AppConfig edited = store.config();
        edited.groups[0].name = u"Edited"_s;
        store.setConfig(edited);
        store.save();
        QCOMPARE(contents(copyPath), garbage);
        QCOMPARE(modeOf(copyPath), ownerReadWrite);
        QCOMPARE(contents(configPath()), *ConfigCodec::encode(edited));

        // Once replaced, the file is ours: later saves leave the copy alone.
        edited.groups[0].name = u"Edited again"_s;
        store.setConfig(edited);
        store.save();
        QCOMPARE(contents(copyPath), garbage);
        QCOMPARE(contents(configPath()), *ConfigCodec::encode(edited));
    }

    void noCopyOfReadableOrMissingFile()
    {
        ConfigStore store(base());
        store.save();
        store.save();
        QVERIFY(!QFileInfo::exists(configPath() + u".unreadable"_s));
    }

    void unknownTerminalIsRewritten()
    {
        QByteArray bytes = *ConfigCodec::encode(sampleConfig(u"Later"_s));
        bytes.replace("\"alacritty\"", "\"hyper\"");
        writeFile(configPath(), bytes);

        ConfigStore store(base());
        QCOMPARE(store.config().terminalApp, TerminalApp::appleTerminal);
        QCOMPARE(store.config().groups[0].name, u"Later"_s);
        store.save();
        QVERIFY(contents(configPath()).endsWith("\"terminalApp\" : \"appleTerminal\"\n}"));
        QVERIFY(!QFileInfo::exists(configPath() + u".unreadable"_s));
    }

    void changeSignalOnlyForRealChanges()
    {
        ConfigStore store(base());
        QSignalSpy changed(&store, &ConfigStore::configChanged);
        const AppConfig original = store.config();

        store.setConfig(original);
        QCOMPARE(changed.count(), 0);

        AppConfig edited = original;
        edited.groups[0].commands[0].delayAfter = 0.5;
        store.setConfig(edited);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(store.config(), edited);

        store.setConfig(original);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(store.config(), original);

        // The store never writes on its own.
        QVERIFY(!QFileInfo::exists(configPath()));
    }

    void nonFiniteDelayKeepsPreviousFile()
    {
        ConfigStore store(base());
        store.save();
        const QByteArray before = contents(configPath());
        QVERIFY(!before.isEmpty());

        AppConfig broken = store.config();
        broken.groups[0].commands[0].delayAfter = std::numeric_limits<double>::infinity();
        store.setConfig(broken);
        store.save();
        QCOMPARE(contents(configPath()), before);
    }

    void noGroupsReadBackAsDefaultList()
    {
        {
            ConfigStore store(base());
            AppConfig empty;
            empty.terminalApp = TerminalApp::kitty;
            empty.groups.clear();
            store.setConfig(empty);
            store.save();
        }
        ConfigStore again(base());
        QCOMPARE(again.config().terminalApp, TerminalApp::kitty);
        QCOMPARE(again.config().groups.size(), 1);
        QCOMPARE(again.config().groups[0].name, u"Window 1"_s);
    }

    void noSupportFolderWritesNowhere()
    {
        // An empty location must not turn into the current directory.
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(base()));
        ConfigStore store(QString{});
        store.setConfig(sampleConfig(u"Memory only"_s));
        store.save();
        QDir::setCurrent(previous);
        QVERIFY(store.fileUrl().isEmpty());
        QVERIFY(QDir(base()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    }

    void failuresAreSwallowed_data()
    {
        QTest::addColumn<QString>("blocker"); // a path occupied by the wrong kind of entry
        QTest::newRow("folder is a file") << u"Corvane"_s;
        QTest::newRow("config is a folder") << u"Corvane/config.json/"_s;
    }

    void failuresAreSwallowed()
    {
        // Root ignores permission bits, so the failures come from entries in the way instead.
        QFETCH(QString, blocker);
        const QString path = m_dir->filePath(blocker);
        if (blocker.endsWith(u'/'))
            QVERIFY(QDir().mkpath(path));
        else
            writeFile(path, "in the way");

        ConfigStore store(base());
        QVERIFY(isDefaultShape(store.config()));
        store.setConfig(sampleConfig(u"Unsaved"_s));
        store.save();
        store.save();
        // The edit lives on in memory.
        QCOMPARE(store.config().groups[0].name, u"Unsaved"_s);
        QVERIFY(!QFileInfo(store.fileUrl()).isFile());
        if (!blocker.endsWith(u'/'))
            QCOMPARE(contents(path), QByteArray("in the way"));
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
