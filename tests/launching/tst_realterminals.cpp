#include "BootTimeSleeper.h"
#include "ConfigBuilders.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <algorithm>
#include <csignal>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

// kitty and Alacritty started for real through LinuxPlatform and the runner, on a private X
// server, each window appending timestamps to a marker file.
class RealTerminalsTest final : public QObject {
    Q_OBJECT

private:
    QProcess xvfb;
    QTemporaryDir dir;
    QString pidFile;

    // A wrapper in front of the real terminal: notes its PID (exec keeps it) so the test can
    // close exactly the windows it opened.
    void addWrapper(const QString &name, const QString &real, const QString &extraArguments)
    {
        QFile file(dir.filePath(u"bin/"_s + name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(u"#!/bin/sh\necho $$ >> '%1'\nexec '%2' %3 \"$@\"\n"_s
                       .arg(pidFile, real, extraArguments)
                       .toUtf8());
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    static QStringList lines(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

    // Each marker line is "<step> <seconds since the epoch>".
    static double stamp(const QString &line) { return line.section(u' ', 1, 1).toDouble(); }

private Q_SLOTS:
    void initTestCase()
    {
        const QString kitty = QStandardPaths::findExecutable(u"kitty"_s);
        const QString alacritty = QStandardPaths::findExecutable(u"alacritty"_s);
        if (QStandardPaths::findExecutable(u"Xvfb"_s).isEmpty() || kitty.isEmpty() ||
            alacritty.isEmpty())
            QSKIP("Needs Xvfb, kitty and alacritty");

        // Xvfb picks a free display and writes its number to the descriptor we name: stdout.
        xvfb.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1280x800x24"_s,
                               u"-nolisten"_s, u"tcp"_s});
        QVERIFY(xvfb.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(xvfb.canReadLine(), 20000);
        const QByteArray display = xvfb.readLine().trimmed();
        QVERIFY(!display.isEmpty());
        qputenv("DISPLAY", ":" + display);

        QVERIFY(QDir(dir.path()).mkdir(u"bin"_s));
        pidFile = dir.filePath(u"pids"_s);
        // --single-instance would otherwise join a kitty of this user on any display.
        addWrapper(u"kitty"_s, kitty,
                   u"--instance-group corvane-test-"_s +
                       QUuid::createUuid().toString(QUuid::Id128));
        addWrapper(u"alacritty"_s, alacritty, QString());
        qputenv("PATH", QFile::encodeName(dir.filePath(u"bin"_s)) + ":" + qgetenv("PATH"));
    }

    void cleanupTestCase()
    {
        const QStringList pids = lines(pidFile);
        for (const QString &pid : pids)
            ::kill(pid.toInt(), SIGTERM);
        // Let the terminals go before their X server does.
        const auto exited = [](const QString &pid) {
            QFile stat(u"/proc/"_s + pid + u"/stat"_s);
            return !stat.open(QIODevice::ReadOnly) || stat.readAll().contains(") Z ");
        };
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(pids.begin(), pids.end(), exited), 10000);
        if (xvfb.state() != QProcess::NotRunning) {
            xvfb.terminate();
            xvfb.waitForFinished(5000);
        }
    }

    void windowsRunTheirCommandsInOrder_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::newRow("kitty") << TerminalApp::kitty;
        QTest::newRow("alacritty") << TerminalApp::alacritty;
    }

    void windowsRunTheirCommandsInOrder()
    {
        QFETCH(TerminalApp, terminal);
        const QString tag = QString::fromLatin1(QTest::currentDataTag());
        const QString first = dir.filePath(tag + u"-first"_s);
        const QString second = dir.filePath(tag + u"-second"_s);
        const auto mark = [](const QString &file, int stepNumber) {
            return u"echo \"%1 $(date +%s.%N)\" >> '%2'"_s.arg(stepNumber).arg(file);
        };

        LinuxPlatform platform;
        BootTimeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({terminal,
                       {group(u"one"_s, {step(mark(first, 1), 1.5), step(u"   "_s, 30),
                                         step(mark(first, 2)), step(mark(first, 3))}),
                        group(u"two"_s, {step(mark(second, 1), 0.5), step(mark(second, 2))})}});
        QTRY_VERIFY_WITH_TIMEOUT(!runner.isRunning(), 10000);

        QTRY_COMPARE_WITH_TIMEOUT(lines(first).size(), 3, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(lines(second).size(), 2, 60000);
        const QStringList a = lines(first);
        const QStringList b = lines(second);
        QCOMPARE(a.at(0).section(u' ', 0, 0), u"1"_s);
        QCOMPARE(a.at(1).section(u' ', 0, 0), u"2"_s);
        QCOMPARE(a.at(2).section(u' ', 0, 0), u"3"_s);
        QCOMPARE(b.at(0).section(u' ', 0, 0), u"1"_s);
        QCOMPARE(b.at(1).section(u' ', 0, 0), u"2"_s);
        // The packed sleeps are kept: 1.5 s after the first command, 0.5 s in the second window.
        QVERIFY2(stamp(a.at(1)) - stamp(a.at(0)) >= 1.5, qPrintable(a.join(u" | ")));
        QVERIFY2(stamp(b.at(1)) - stamp(b.at(0)) >= 0.5, qPrintable(b.join(u" | ")));
    }
};

QTEST_GUILESS_MAIN(RealTerminalsTest)
#include "tst_realterminals.moc"
