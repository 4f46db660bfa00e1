#include "ConfigCodec.h"
#include "ConfigStore.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

// The permission bits as the file system holds them.
int modeOf(const QString &path)
{
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : -1;
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
    // Every path under the folder with its type, links not followed.
    QStringList tree() const
    {
        QStringList found;
        QDirIterator it(m_dir.path(),
                        QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QFileInfo info(it.next());
            const char *type = info.isSymLink() ? "link"
                               : info.isDir()   ? "folder"
                               : info.isFile()  ? "file"
                                                : "other";
            found.append(QDir(m_dir.path()).relativeFilePath(info.filePath()) + u' ' +
                         QLatin1StringView(type));
        }
        found.sort();
        return found;
    }

private Q_SLOTS:
    void init() { QVERIFY(QDir(m_dir.path()).removeRecursively() && QDir().mkpath(m_dir.path())); }

    void firstStartWritesNothingUntilSaved()
    {
        ConfigStore store(m_dir.filePath(u"new"_s)); // the support folder is missing too
        QCOMPARE(store.filePath(), m_dir.filePath(u"new/Corvane/config.json"_s));
        QCOMPARE(modeOf(m_dir.filePath(u"new/Corvane"_s)), 0700);
        QCOMPARE(store.config().groups[0].name, u"Window 1"_s);
        QVERIFY(store.isFirstStart() && store.loadError().isEmpty());

        QSignalSpy changed(&store, &ConfigStore::configChanged);
        store.setConfig(store.config());
        QCOMPARE(changed.count(), 0); // an equal value is no change
        store.setConfig(sample(u"Dev"_s));
        QCOMPARE(changed.count(), 1);
        const QStringList folders{u"new folder"_s, u"new/Corvane folder"_s};
        QCOMPARE(tree(), folders); // the store never saves by itself

        store.save();
        QCOMPARE(contents(store.filePath()), *ConfigCodec::encode(store.config()));
        QCOMPARE(modeOf(store.filePath()), 0600);
        QCOMPARE(tree(), folders + QStringList{u"new/Corvane/config.json file"_s}); // no temporary
        const ConfigStore later(m_dir.filePath(u"new"_s));
        QVERIFY(!later.isFirstStart());
        QCOMPARE(later.config(), store.config());
    }

    // A user of the older build keeps their configuration: copied, never moved, and taken over
    // again at a start that finds no config.json of Corvane's own.
    void oldFileIsTakenOver()
    {
        const QByteArray old = *ConfigCodec::encode(sample(u"From Lumaret"_s));
        writeFile(m_oldFile, old);
        for (int start = 1; start <= 2; ++start) {
            const ConfigStore store(m_dir.path());
            QCOMPARE(store.config().groups[0].name, u"From Lumaret"_s);
            QVERIFY(!store.isFirstStart()); // a configuration taken over is no first start
            QCOMPARE(contents(m_oldFile), old);
            QCOMPARE(contents(m_file), old);
            QCOMPARE(modeOf(m_file), 0600);
            QVERIFY(QFile::remove(m_file));
        }
    }

    // An unreadable file is neither passed over for the old one nor lost: an older copy is
    // replaced, and a link there is replaced too, never written through.
    void unreadableFileIsKeptAsACopy()
    {
        const QByteArray garbage("\x00\x01garbage{", 10);
        writeFile(m_file, garbage);
        writeFile(m_oldFile, *ConfigCodec::encode(sample(u"From Lumaret"_s)));
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
            QCOMPARE(modeOf(m_file + u".unreadable"_s), 0600);
        }
        QVERIFY(store.loadError().isEmpty()); // replaced by what was saved
        QVERIFY(QFile::remove(m_file + u".unreadable"_s));
        ConfigStore(m_dir.path()).save();
        // The FIFO was never written through; a readable file gets no copy.
        QCOMPARE(tree(), (QStringList{u"Corvane folder"_s, u"Corvane/config.json file"_s,
                                      u"Lumaret folder"_s, u"Lumaret/config.json file"_s,
                                      u"fifo other"_s}));
    }

    // Nothing but a regular file is ever replaced, and a link only ever written through to one
    // (then it stays a link); a save that cannot be made says why and keeps the edit in memory.
    void savesReplaceOnlyRegularFiles_data()
    {
        QTest::addColumn<QString>("entry"); // what is at config.json
        QTest::addColumn<QString>("error"); // empty: saved
        const QString notFileLink = u"config.json is a link to something that is not a file"_s;
        QTest::newRow("non-finite delay") << u"delay"_s << u"a delay is not a number"_s;
        QTest::newRow("no support folder")
            << u"none"_s << u"there is no folder to keep the configuration in"_s;
        QTest::newRow("fifo") << u"fifo"_s << u"config.json is not a regular file"_s;
        QTest::newRow("link to fifo") << u"link fifo"_s << notFileLink;
        QTest::newRow("dangling link") << u"link missing"_s << notFileLink;
        QTest::newRow("dotfiles link") << u"link file"_s << QString();
    }

    void savesReplaceOnlyRegularFiles()
    {
        QFETCH(QString, entry);
        QFETCH(QString, error);
        const QString target = m_dir.filePath(u"dotfiles/target"_s);
        QVERIFY(QDir().mkpath(QFileInfo(target).path()) && QDir().mkpath(QFileInfo(m_file).path()));
        if (entry.endsWith(u"fifo"_s)) {
            const QString fifo = entry == u"fifo"_s ? m_file : target;
            QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        }
        if (entry == u"link file"_s)
            writeFile(target, *ConfigCodec::encode(sample(u"Linked"_s)));
        if (entry.startsWith(u"link"_s))
            QVERIFY(QFile::link(u"../dotfiles/target"_s, m_file));
        const QStringList before = tree();

        const QString previous = QDir::currentPath(); // an empty location is not "here"
        QVERIFY(QDir::setCurrent(m_dir.path()));
        ConfigStore store(entry == u"none"_s ? QString() : m_dir.path()); // a FIFO must not hang it
        QCOMPARE(store.config().groups[0].name,
                 entry == u"link file"_s ? u"Linked"_s : u"Window 1"_s);
        AppConfig edited = sample(u"Edited"_s);
        if (entry == u"delay"_s)
            edited.groups[0].commands[0].delayAfter = qInf();
        store.setConfig(edited);
        QSignalSpy errorChanged(&store, &ConfigStore::saveErrorChanged);
        QCOMPARE(store.save(), error.isEmpty());
        QDir::setCurrent(previous);
        QCOMPARE(store.saveError(), error);
        QCOMPARE(errorChanged.count(), error.isEmpty() ? 0 : 1);
        QCOMPARE(store.config(), edited); // the edit lives on in memory
        QCOMPARE(tree(), before);         // nothing replaced, no temporary left anywhere
        if (entry == u"link file"_s)
            QCOMPARE(contents(target), *ConfigCodec::encode(edited));
    }

    // A full disk fails the save, and the file keeps every byte it had.
    void fullDiskKeepsTheOldFile()
    {
        const QString mount = m_dir.filePath(u"small"_s);
        QVERIFY(QDir().mkpath(mount));
        if (QProcess::execute(
                u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size=64k"_s, u"tmpfs"_s, mount}) != 0)
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
        QCOMPARE(tree().filter(u"small/Corvane/"_s),
                 QStringList{u"small/Corvane/config.json file"_s});
        filler.remove();
        QVERIFY(store.save() && store.saveError().isEmpty());
        QCOMPARE(contents(store.filePath()), *ConfigCodec::encode(big));
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
