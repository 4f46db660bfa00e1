#include "ConfigCodec.h"
#include "ConfigStore.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr auto rw = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

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
    QFile file((QDir().mkpath(QFileInfo(path).path()), path));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

AppConfig sample(const QString &name)
{
    return {TerminalApp::alacritty,
            {{QUuid::createUuid(), name, {{QUuid::createUuid(), u"cd ~/src"_s, 2}}, {}}}};
}

} // namespace

class TestConfigStore final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    const QString m_file = m_dir.filePath(u"Corvane/config.json"_s);
    const QString m_oldFile = m_dir.filePath(u"Lumaret/config.json"_s);
    QStringList entries(const QString &folder) const
    {
        return QDir(m_dir.filePath(folder))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

private Q_SLOTS:
    void init() { QVERIFY(QDir(m_dir.path()).removeRecursively() && QDir().mkpath(m_dir.path())); }

    void firstStartWritesNothingUntilSaved()
    {
        ConfigStore store(m_dir.filePath(u"new"_s)); // the support folder is missing too
        QCOMPARE(store.fileUrl(), m_dir.filePath(u"new/Corvane/config.json"_s));
        QCOMPARE(modeOf(m_dir.filePath(u"new/Corvane"_s)), rw | QFileDevice::ExeOwner);
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);

        QSignalSpy changed(&store, &ConfigStore::configChanged);
        store.setConfig(store.config());
        QCOMPARE(changed.count(), 0); // an equal value is no change
        store.setConfig(sample(u"Dev"_s));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(entries(u"new/Corvane"_s), QStringList()); // the store never saves by itself

        store.save();
        QCOMPARE(contents(store.fileUrl()), *ConfigCodec::encode(store.config()));
        QCOMPARE(modeOf(store.fileUrl()), rw);
        QCOMPARE(entries(u"new/Corvane"_s), QStringList{u"config.json"_s}); // no temporary left
        QCOMPARE(ConfigStore(m_dir.filePath(u"new"_s)).config(), store.config());
    }

    void oldFileTakeOver_data()
    {
        QTest::addColumn<QByteArray>("current"); // at Corvane/config.json; empty: nothing there
        QTest::addColumn<QString>("loaded");
        QTest::newRow("missing") << QByteArray() << u"From Lumaret"_s;
        QTest::newRow("readable") << *ConfigCodec::encode(sample(u"Current"_s)) << u"Current"_s;
        QTest::newRow("unreadable") << QByteArray("{ not json") << u"Window 1"_s;
    }

    void oldFileTakeOver()
    {
        QFETCH(QByteArray, current);
        QFETCH(QString, loaded);
        const QByteArray old = *ConfigCodec::encode(sample(u"From Lumaret"_s));
        writeFile(m_oldFile, old);
        if (!current.isEmpty())
            writeFile(m_file, current);
        QCOMPARE(ConfigStore(m_dir.path()).config().groups[0].name, loaded);
        QCOMPARE(contents(m_oldFile), old); // copied, never moved
        QCOMPARE(contents(m_file), current.isEmpty() ? old : current);
        if (current.isEmpty()) {
            QCOMPARE(modeOf(m_file), rw);
            QVERIFY(QFile::remove(m_file)); // brings the old one back at the next start
            QCOMPARE(ConfigStore(m_dir.path()).config().groups[0].name, loaded);
        }
    }

    void unreadableFileIsKeptAsACopy()
    {
        const QByteArray garbage("\x00\x01garbage{", 10);
        writeFile(m_file, garbage);
        writeFile(m_file + u".unreadable"_s, "an older copy");
        ConfigStore store(m_dir.path());
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);
        QCOMPARE(contents(m_file), garbage); // untouched until the first save
        for (const QString &name : {u"Edited"_s, u"Edited again"_s}) {
            store.setConfig(sample(name));
            store.save();
            QCOMPARE(contents(m_file), *ConfigCodec::encode(store.config()));
            QCOMPARE(contents(m_file + u".unreadable"_s), garbage); // taken once, then kept
            QCOMPARE(modeOf(m_file + u".unreadable"_s), rw);
        }
        QVERIFY(QFile::remove(m_file + u".unreadable"_s));
        ConfigStore(m_dir.path()).save(); // a readable file gets no copy
        QCOMPARE(entries(u"Corvane"_s), QStringList{u"config.json"_s});
    }

    void oddEntriesAreSurvived_data()
    {
        QTest::addColumn<QString>("blocker"); // root ignores permissions: entries in the way
        QTest::newRow("non-finite delay, nothing in the way") << QString();
        QTest::newRow("folder is a file") << u"Corvane"_s;
        QTest::newRow("config is a folder") << u"Corvane/config.json/x"_s;
        QTest::newRow("config is a fifo, replaced") << u"fifo"_s;
        QTest::newRow("no support folder: no file") << u"none"_s;
    }

    void oddEntriesAreSurvived()
    {
        QFETCH(QString, blocker);
        if (blocker == u"fifo"_s) {
            QVERIFY(QDir().mkpath(QFileInfo(m_file).path()));
            QCOMPARE(mkfifo(QFile::encodeName(m_file).constData(), 0600), 0);
        } else if (blocker.startsWith(u"Corvane"_s)) {
            writeFile(m_dir.filePath(blocker), "in the way");
        }
        const QString previous = QDir::currentPath(); // an empty location is not "here"
        QVERIFY(QDir::setCurrent(m_dir.path()));
        ConfigStore store(blocker == u"none"_s ? QString() : m_dir.path()); // must not hang
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);
        store.save();
        const QByteArray before = contents(m_file);
        AppConfig edited = sample(u"Unsaved"_s);
        edited.groups[0].commands[0].delayAfter = blocker.isEmpty() ? qInf() : 1;
        store.setConfig(edited);
        store.save();
        QDir::setCurrent(previous);
        QCOMPARE(store.config(), edited); // the edit lives on in memory
        QCOMPARE(contents(m_file), blocker == u"fifo"_s ? *ConfigCodec::encode(edited) : before);
        if (blocker.startsWith(u"Corvane"_s))
            QCOMPARE(contents(m_dir.filePath(blocker)), QByteArray("in the way"));
        QCOMPARE(entries(QString()).size(), blocker == u"none"_s ? 0 : 1);
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
