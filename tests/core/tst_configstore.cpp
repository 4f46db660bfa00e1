#include "ConfigCodec.h"
#include "ConfigStore.h"

#include <QDir>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <sys/sysmacros.h>

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

QString typeOf(const QString &path)
{
    const QFileInfo info(path);
    return info.isSymLink() ? u"link"_s
           : info.isDir()   ? u"folder"_s
           : info.isFile()  ? u"file"_s
           : info.exists()  ? u"other"_s
                            : u"none"_s;
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
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

private Q_SLOTS:
    void init() { QVERIFY(QDir(m_dir.path()).removeRecursively() && QDir().mkpath(m_dir.path())); }

    void firstStartWritesNothingUntilSaved()
    {
        ConfigStore store(m_dir.filePath(u"new"_s)); // the support folder is missing too
        QCOMPARE(store.filePath(), m_dir.filePath(u"new/Corvane/config.json"_s));
        QCOMPARE(modeOf(m_dir.filePath(u"new/Corvane"_s)), rw | QFileDevice::ExeOwner);
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);
        QVERIFY(store.isFirstStart() && store.loadError().isEmpty());

        QSignalSpy changed(&store, &ConfigStore::configChanged);
        store.setConfig(store.config());
        QCOMPARE(changed.count(), 0); // an equal value is no change
        store.setConfig(sample(u"Dev"_s));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(entries(u"new/Corvane"_s), QStringList()); // the store never saves by itself

        store.save();
        QCOMPARE(contents(store.filePath()), *ConfigCodec::encode(store.config()));
        QCOMPARE(modeOf(store.filePath()), rw);
        QCOMPARE(entries(u"new/Corvane"_s), QStringList{u"config.json"_s}); // no temporary left
        const ConfigStore later(m_dir.filePath(u"new"_s));
        QVERIFY(!later.isFirstStart());
        QCOMPARE(later.config(), store.config());
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
        const ConfigStore store(m_dir.path());
        QCOMPARE(store.config().groups[0].name, loaded);
        QVERIFY(!store.isFirstStart());     // a configuration taken over is no first start
        QCOMPARE(contents(m_oldFile), old); // copied, never moved
        QCOMPARE(contents(m_file), current.isEmpty() ? old : current);
        if (current.isEmpty()) {
            QCOMPARE(modeOf(m_file), rw);
            QVERIFY(QFile::remove(m_file)); // brings the old one back at the next start
            QCOMPARE(ConfigStore(m_dir.path()).config().groups[0].name, loaded);
        }
    }

    // An older copy is replaced; a link there is replaced too, never written through.
    void unreadableFileIsKeptAsACopy()
    {
        const QByteArray garbage("\x00\x01garbage{", 10);
        writeFile(m_file, garbage);
        QCOMPARE(mkfifo(QFile::encodeName(m_dir.filePath(u"fifo"_s)).constData(), 0600), 0);
        QVERIFY(QFile::link(m_dir.filePath(u"fifo"_s), m_file + u".unreadable"_s));
        ConfigStore store(m_dir.path());
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);
        QCOMPARE(store.loadError(), u"line 1, column 1: illegal value"_s);
        QCOMPARE(contents(m_file), garbage); // untouched until the first save
        for (const QString &name : {u"Edited"_s, u"Edited again"_s}) {
            store.setConfig(sample(name));
            store.save();
            QCOMPARE(contents(m_file), *ConfigCodec::encode(store.config()));
            QCOMPARE(contents(m_file + u".unreadable"_s), garbage); // taken once, then kept
            QCOMPARE(modeOf(m_file + u".unreadable"_s), rw);
        }
        QCOMPARE(typeOf(m_dir.filePath(u"fifo"_s)), u"other"_s);
        QVERIFY(store.loadError().isEmpty()); // replaced by what was saved
        QVERIFY(QFile::remove(m_file + u".unreadable"_s));
        ConfigStore(m_dir.path()).save(); // a readable file gets no copy
        QCOMPARE(entries(u"Corvane"_s), QStringList{u"config.json"_s});
    }

    // Where and why, for the command line's "Couldn't read".
    void loadErrorSaysWhereAndWhy_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("reason");
        QTest::newRow("typo") << QByteArray("{\n  \"groups\" : [\n    { \"név\" : 1 ]\n}")
                              << u"line 3, column 17: unterminated object"_s;
        QTest::newRow("groups") << QByteArray(R"({"groups": {}})") << u"\"groups\" is not a list"_s;
        QTest::newRow("step") << QByteArray(
                                     R"({"groups": [{"id": "00000000-0000-0000-0000-000000000001",
            "name": "a", "commands": [{"id": "00000000-0000-0000-0000-000000000002", "command": "x"}]}]})")
                              << u"window 1: command 1: \"delayAfter\" is not a number"_s;
    }

    void loadErrorSaysWhereAndWhy()
    {
        QFETCH(QByteArray, text);
        writeFile(m_file, text);
        QFETCH(QString, reason);
        QCOMPARE(ConfigStore(m_dir.path()).loadError(), reason);
    }

    // Nothing but a regular file is ever replaced, and a link only ever written through to one
    // (then it stays a link); a save that cannot be made says why and keeps the edit in memory.
    void savesReplaceOnlyRegularFiles_data()
    {
        QTest::addColumn<QString>("entry"); // what is at (or in the way of) config.json
        QTest::addColumn<QString>("error"); // empty: saved
        const QString notFile = u"config.json is not a regular file"_s;
        const QString notFileLink = u"config.json is a link to something that is not a file"_s;
        QTest::newRow("non-finite delay") << u"delay"_s << u"a delay is not a number"_s;
        QTest::newRow("no support folder")
            << u"none"_s << u"there is no folder to keep the configuration in"_s;
        QTest::newRow("folder is a file") << u"Corvane file"_s << u"?"_s;
        QTest::newRow("folder") << u"folder"_s << notFile;
        QTest::newRow("fifo") << u"fifo"_s << notFile;
        QTest::newRow("link to fifo") << u"link fifo"_s << notFileLink;
        QTest::newRow("link to device") << u"link device"_s << notFileLink;
        QTest::newRow("dangling link") << u"link missing"_s << notFileLink;
        QTest::newRow("dotfiles link") << u"link file"_s << QString();
    }

    void savesReplaceOnlyRegularFiles()
    {
        QFETCH(QString, entry);
        QFETCH(QString, error);
        const QString target = m_dir.filePath(u"dotfiles/target"_s);
        QVERIFY(QDir().mkpath(QFileInfo(target).path()));
        QVERIFY(entry == u"Corvane file"_s || QDir().mkpath(QFileInfo(m_file).path()));
        const QByteArray place = QFile::encodeName(entry.startsWith(u"link"_s) ? target : m_file);
        if (entry.endsWith(u"fifo"_s))
            QCOMPARE(mkfifo(place.constData(), 0600), 0);
        else if (entry.endsWith(u"device"_s) &&
                 mknod(place.constData(), S_IFCHR | 0600, makedev(1, 3)) != 0)
            QSKIP("making a device needs root");
        else if (entry.endsWith(u"folder"_s))
            QVERIFY(QDir().mkdir(QFile::decodeName(place)));
        else if (entry.endsWith(u"file"_s))
            writeFile(entry == u"link file"_s ? target : QFileInfo(m_file).path(),
                      *ConfigCodec::encode(sample(u"Linked"_s)));
        if (entry.startsWith(u"link"_s))
            QVERIFY(
                QFile::link(entry == u"link file"_s ? u"../dotfiles/target"_s : target, m_file));
        const QString before = typeOf(m_file) + typeOf(target);
        const QStringList top = entries(QString());

        const QString previous = QDir::currentPath(); // an empty location is not "here"
        QVERIFY(QDir::setCurrent(m_dir.path()));
        ConfigStore store(entry == u"none"_s ? QString() : m_dir.path()); // must not hang
        QCOMPARE(store.config().groups[0].name,
                 entry == u"link file"_s ? u"Linked"_s : u"Window 1"_s);
        AppConfig edited = sample(u"Edited"_s);
        edited.groups[0].commands[0].delayAfter = entry == u"delay"_s ? qInf() : 1;
        store.setConfig(edited);
        QSignalSpy errorChanged(&store, &ConfigStore::saveErrorChanged);
        QCOMPARE(store.save(), error.isEmpty());
        QDir::setCurrent(previous);
        QCOMPARE(errorChanged.count(), error.isEmpty() ? 0 : 1);
        if (error != u"?"_s)
            QCOMPARE(store.saveError(), error);
        QVERIFY(store.saveError().isEmpty() == error.isEmpty());
        QCOMPARE(store.config(), edited);                  // the edit lives on in memory
        QCOMPARE(typeOf(m_file) + typeOf(target), before); // nothing replaced
        if (entry == u"link file"_s)
            QCOMPARE(contents(target), *ConfigCodec::encode(edited));
        // No temporary left anywhere.
        QCOMPARE(entries(QString()), top);
        QCOMPARE(entries(u"dotfiles"_s).size(), typeOf(target) == u"none"_s ? 0 : 1);
        if (entry != u"none"_s && entry != u"Corvane file"_s)
            QCOMPARE(entries(u"Corvane"_s).size(), entry == u"delay"_s ? 0 : 1);
    }

    // A full disk fails the save, and the file keeps every byte it had.
    void fullDiskKeepsTheOldFile()
    {
        const QString mount = m_dir.filePath(u"small"_s);
        QVERIFY(QDir().mkpath(mount));
        QProcess mounting;
        mounting.start(u"mount"_s,
                       {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size=64k"_s, u"tmpfs"_s, mount});
        if (!mounting.waitForFinished() || mounting.exitCode() != 0)
            QSKIP("mounting a small file system needs root");
        const auto unmount = qScopeGuard([&] { QProcess::execute(u"umount"_s, {mount}); });
        ConfigStore store(mount);
        QVERIFY(store.save());
        const QByteArray before = contents(store.filePath());
        QFile filler(mount + u"/filler"_s);
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) > 0) {
        }
        AppConfig big = sample(u"Big"_s);
        big.groups[0].commands[0].command = QString(20000, u'x');
        store.setConfig(big);
        QVERIFY(!store.save());
        QCOMPARE(store.saveError(), u"the disk is full"_s);
        QCOMPARE(contents(store.filePath()), before);
        QCOMPARE(entries(u"small/Corvane"_s), QStringList{u"config.json"_s});
        filler.remove();
        QVERIFY(store.save() && store.saveError().isEmpty());
        QCOMPARE(contents(store.filePath()), *ConfigCodec::encode(big));
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
