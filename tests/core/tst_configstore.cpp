#include "ConfigCodec.h"
#include "ConfigStore.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

#include <sys/stat.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

QFileDevice::Permissions modeOf(const QString &path)
{
    // Qt adds the "User" bits for the current owner; keep only what the file system holds.
    return QFileInfo(path).permissions() &
           ~(QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

AppConfig sample(const QString &name)
{
    AppConfig config{TerminalApp::alacritty, {TabGroup{}}};
    config.groups[0].name = name;
    config.groups[0].commands[0] = {QUuid::createUuid(), u"cd ~/src"_s, 2};
    return config;
}

bool isDefault(const AppConfig &config)
{
    return config.terminalApp == TerminalApp::appleTerminal && config.groups.size() == 1 &&
           config.groups[0].name == u"Window 1"_s && config.groups[0].commands.size() == 1 &&
           config.groups[0].commands[0].command.isEmpty();
}

} // namespace

class TestConfigStore final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString path(const QString &relative) const { return m_dir.filePath(relative); }

private Q_SLOTS:
    void init() { QVERIFY(QDir(m_dir.path()).removeRecursively() && QDir().mkpath(m_dir.path())); }

    void firstStartWritesNothingUntilSaved()
    {
        const QString base = path(u"missing/parents"_s);
        ConfigStore store(base);
        QCOMPARE(store.fileUrl(), base + u"/Corvane/config.json"_s);
        QCOMPARE(modeOf(base + u"/Corvane"_s),
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QVERIFY(isDefault(store.config()));
        QCOMPARE(QDir(base + u"/Corvane"_s)
                     .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList());

        QSignalSpy changed(&store, &ConfigStore::configChanged);
        store.setConfig(store.config());
        QCOMPARE(changed.count(), 0); // an equal value is no change
        const AppConfig edited = sample(u"Dev"_s);
        store.setConfig(edited);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!QFileInfo::exists(store.fileUrl())); // the store never saves by itself

        store.save();
        QCOMPARE(contents(store.fileUrl()), *ConfigCodec::encode(edited));
        QCOMPARE(modeOf(store.fileUrl()), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(QDir(base + u"/Corvane"_s)
                     .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{u"config.json"_s});
        QCOMPARE(ConfigStore(base).config(), edited);

        // Without groups the file holds an empty list, which reads back as the default one.
        store.setConfig(AppConfig{TerminalApp::kitty, {}});
        store.save();
        const AppConfig again = ConfigStore(base).config();
        QCOMPARE(again.terminalApp, TerminalApp::kitty);
        QCOMPARE(again.groups.size(), 1);
        QCOMPARE(again.groups[0].name, u"Window 1"_s);
    }

    void oldFileTakeOver_data()
    {
        QTest::addColumn<QByteArray>("current"); // at Corvane/config.json; empty: nothing there
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("readable") << *ConfigCodec::encode(sample(u"Current"_s));
        QTest::newRow("unreadable") << QByteArray("{ not json");
    }

    void oldFileTakeOver()
    {
        QFETCH(QByteArray, current);
        const QString configPath = path(u"Corvane/config.json"_s),
                      oldPath = path(u"Lumaret/config.json"_s);
        const QByteArray old = *ConfigCodec::encode(sample(u"From Lumaret"_s));
        writeFile(oldPath, old);
        if (!current.isEmpty())
            writeFile(configPath, current);

        ConfigStore store(m_dir.path());
        const QByteArray loaded = current.isEmpty() ? old : current;
        QCOMPARE(contents(configPath), loaded);
        QCOMPARE(contents(oldPath), old); // copied, never moved or touched
        if (const auto decoded = ConfigCodec::decode(loaded))
            QCOMPARE(store.config(), *decoded);
        else
            QVERIFY(isDefault(store.config()));
        if (current.isEmpty()) {
            QCOMPARE(modeOf(configPath), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
            // Deleting the new file brings the old configuration back at the next start.
            QVERIFY(QFile::remove(configPath));
            QCOMPARE(ConfigStore(m_dir.path()).config().groups[0].name, u"From Lumaret"_s);
        }
    }

    void unreadableFileIsKeptAsACopy()
    {
        const QString configPath = path(u"Corvane/config.json"_s),
                      copyPath = configPath + u".unreadable"_s;
        const QByteArray garbage("\x00\x01garbage{", 10);
        writeFile(configPath, garbage);
        writeFile(copyPath, "an older copy");

        ConfigStore store(m_dir.path());
        QVERIFY(isDefault(store.config()));
        QCOMPARE(contents(configPath), garbage); // untouched until the first save
        AppConfig edited = store.config();
        for (const QString &name : {u"Edited"_s, u"Edited again"_s}) {
            edited.groups[0].name = name;
            store.setConfig(edited);
            store.save();
            QCOMPARE(contents(configPath), *ConfigCodec::encode(edited));
            QCOMPARE(contents(copyPath), garbage);
            QCOMPARE(modeOf(copyPath), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        }

        // A readable file never gets a copy.
        QVERIFY(QFile::remove(copyPath));
        ConfigStore(m_dir.path()).save();
        QVERIFY(!QFileInfo::exists(copyPath));
    }

    void failedSavesKeepThePreviousFile_data()
    {
        QTest::addColumn<QString>("blocker"); // an entry of the wrong kind in the way
        QTest::addColumn<bool>("fifo");
        QTest::newRow("non-finite delay") << QString() << false;
        QTest::newRow("folder is a file") << u"Corvane"_s << false;
        QTest::newRow("config is a folder") << u"Corvane/config.json/x"_s << false;
        QTest::newRow("config is a fifo, replaced") << u"Corvane/config.json"_s << true;
    }

    void failedSavesKeepThePreviousFile()
    {
        // Root ignores permission bits, so the failures come from entries in the way instead.
        QFETCH(QString, blocker);
        QFETCH(bool, fifo);
        if (fifo) {
            QVERIFY(QDir().mkpath(path(u"Corvane"_s)));
            QCOMPARE(mkfifo(QFile::encodeName(path(blocker)).constData(), 0600), 0);
        } else if (!blocker.isEmpty()) {
            writeFile(path(blocker), "in the way");
        }

        ConfigStore store(m_dir.path()); // must not hang on a fifo
        QVERIFY(isDefault(store.config()));
        if (fifo) {
            store.save(); // replaces it, and must not hang either
            QCOMPARE(contents(store.fileUrl()), *ConfigCodec::encode(store.config()));
            return;
        }
        store.save();
        const QByteArray before = contents(store.fileUrl());
        AppConfig edited = sample(u"Unsaved"_s);
        if (blocker.isEmpty())
            edited.groups[0].commands[0].delayAfter = std::numeric_limits<double>::infinity();
        store.setConfig(edited);
        store.save();
        QCOMPARE(store.config().groups[0].name, u"Unsaved"_s); // the edit lives on in memory
        QCOMPARE(contents(store.fileUrl()), before);
        if (!blocker.isEmpty())
            QCOMPARE(contents(path(blocker)), QByteArray("in the way"));
    }

    void noSupportFolderWritesNowhere()
    {
        // An empty location must not turn into the current directory.
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_dir.path()));
        ConfigStore store(QString{});
        store.setConfig(sample(u"Memory only"_s));
        store.save();
        QDir::setCurrent(previous);
        QVERIFY(QDir(m_dir.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
