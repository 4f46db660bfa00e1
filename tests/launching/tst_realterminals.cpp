// kitty and Alacritty started for real through LinuxPlatform and the runner on a private X server,
// each window appending "<step> <time>" lines to a marker file.
#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class RealTerminalsTest final : public QObject {
    Q_OBJECT

    QProcess xvfb;
    QTemporaryDir dir;

    static QStringList lines(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)
                   : QStringList();
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const QString &program : {u"Xvfb"_s, u"kitty"_s, u"alacritty"_s}) {
            if (QStandardPaths::findExecutable(program).isEmpty())
                QSKIP("Needs Xvfb, kitty and alacritty");
        }
        // Xvfb picks a free display and writes its number to the descriptor named: stdout.
        xvfb.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1280x800x24"_s,
                               u"-nolisten"_s, u"tcp"_s});
        QTRY_VERIFY_WITH_TIMEOUT(xvfb.canReadLine(), 20000);
        qputenv("DISPLAY", ":" + xvfb.readLine().trimmed());

        // --single-instance would otherwise join a kitty of this user on any display.
        QVERIFY(writeExecutable(dir.filePath(u"kitty"_s),
                                u"#!/bin/sh\nexec '%1' --instance-group corvane-test-%2 \"$@\"\n"_s
                                    .arg(QStandardPaths::findExecutable(u"kitty"_s))
                                    .arg(::getpid())
                                    .toUtf8()));
        qputenv("PATH", QFile::encodeName(dir.path()) + ":" + qgetenv("PATH"));
        // The windows run login shells: keep this user's profile (and anything it locks) out.
        QVERIFY(QDir(dir.path()).mkpath(u"home"_s));
        qputenv("HOME", QFile::encodeName(dir.filePath(u"home"_s)));
    }

    void cleanupTestCase() // the terminals end with their X server
    {
        xvfb.terminate();
        xvfb.waitForFinished(5000);
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
        const QString a = dir.filePath(QString::fromLatin1(QTest::currentDataTag()) + u"-a"_s);
        const QString b = a.chopped(1) + u'b';
        const auto mark = [](const QString &file, int n) {
            return u"echo \"%1 $(date +%s.%N)\" >> '%2'"_s.arg(n).arg(file);
        };
        LinuxPlatform platform;
        BootTimeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({terminal,
                       {group(u"one"_s, {step(mark(a, 1), 1.5), step(u"   "_s, 30),
                                         step(mark(a, 2)), step(mark(a, 3))}),
                        group(u"two"_s, {step(mark(b, 1), 0.5), step(mark(b, 2))})}});
        QTRY_VERIFY_WITH_TIMEOUT(!runner.isRunning(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(lines(a).size(), 3, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(lines(b).size(), 2, 60000);
        // In order, and the packed sleeps kept: 1.5 s after the first command, 0.5 s in the second.
        for (const auto &[marks, order, gap] :
             {std::tuple(lines(a), u"123"_s, 1.5), std::tuple(lines(b), u"12"_s, 0.5)}) {
            QString steps;
            for (const QString &line : marks)
                steps += line.section(u' ', 0, 0);
            QCOMPARE(steps, order);
            const double seen =
                marks[1].section(u' ', 1).toDouble() - marks[0].section(u' ', 1).toDouble();
            QVERIFY2(seen >= gap, qPrintable(marks.join(u" | ")));
        }
    }
};

QTEST_GUILESS_MAIN(RealTerminalsTest)
#include "tst_realterminals.moc"
