#include "FakePlatform.h"
#include "WarpLauncher.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <yaml-cpp/yaml.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class WarpLauncherTest final : public QObject {
    Q_OBJECT

private:
    static QByteArray readAll(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void fileText()
    {
        const QString text = WarpLauncher::launchFileText(
            {{u"API"_s, u"cd ~/api; sleep 2; npm start"_s}, {u"Box \"2\""_s, u"ssh box"_s}});
        QCOMPARE(text, u"---\nname: Corvane\nwindows:\n"
                       u"  - tabs:\n      - title: \"API\"\n        layout:\n          commands:\n"
                       u"            - exec: \"cd ~/api; sleep 2; npm start\"\n"
                       u"  - tabs:\n      - title: \"Box \\\"2\\\"\"\n        layout:\n"
                       u"          commands:\n            - exec: \"ssh box\"\n"_s);
        QCOMPARE(WarpLauncher::launchFileText({}), u"---\nname: Corvane\nwindows:\n"_s);
    }

    void quoting_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("quoted");
        QTest::newRow("backslash") << u"C:\\tmp"_s << u"\"C:\\\\tmp\""_s;
        QTest::newRow("empty") << QString() << u"\"\""_s;
        QTest::newRow("remote form")
            << u"ssh b -t 'exec $SHELL -ilc \"echo \\\"hi\\\" '\\''x'\\''\"'"_s
            << u"\"ssh b -t 'exec $SHELL -ilc \\\"echo \\\\\\\"hi\\\\\\\" '\\\\''x'\\\\''\\\"'\""_s;
        QTest::newRow("line feed kept raw") << u"a\nb"_s << u"\"a\nb\""_s;
        QTest::newRow("tab, hash, colon, unicode") << u"\t# x: é"_s << u"\"\t# x: é\""_s;
    }

    void quoting()
    {
        QFETCH(QString, value);
        QFETCH(QString, quoted);
        const QString text = WarpLauncher::launchFileText({{value, value}});
        QVERIFY(text.contains(u"      - title: "_s + quoted + u"\n        layout:"_s));
        QVERIFY(text.endsWith(u"            - exec: "_s + quoted + u'\n'));
    }

    void urlEncoding_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("encoded");
        QTest::newRow("space")
            << u"/Users/u/Library/Application Support/Corvane/warp_launch.yaml"_s
            << QByteArray("/Users/u/Library/Application%20Support/Corvane/warp_launch.yaml");
        QTest::newRow("kept") << u"/az-AZ_09.~!$&'()*+,:=@"_s
                              << QByteArray("/az-AZ_09.~!$&'()*+,:=@");
        QTest::newRow("escaped") << u"/a#b?c%d;e[f]\"g<>\\^`{|}"_s
                                 << QByteArray(
                                        "/a%23b%3Fc%25d%3Be%5Bf%5D%22g%3C%3E%5C%5E%60%7B%7C%7D");
        QTest::newRow("utf-8 upper hex") << u"/é/→"_s << QByteArray("/%C3%A9/%E2%86%92");
    }

    void urlEncoding()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, encoded);
        QCOMPARE(WarpLauncher::percentEncodedPath(path), encoded);
    }

    void launchWritesPrivateFileAndOpensUrl()
    {
        QTemporaryDir root;
        FakePlatform platform;
        platform.supportDirectory = root.filePath(u"conf dir/é"_s);
        WarpLauncher launcher(platform);
        QCOMPARE(launcher.launchWarp({{u"one"_s, u"ls"_s}}), std::nullopt);

        const QString path = platform.supportDirectory + u"/Corvane/warp_launch.yaml"_s;
        QCOMPARE(QFile::permissions(path),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        const auto folder = QFile::permissions(platform.supportDirectory + u"/Corvane"_s);
        QCOMPARE(folder & (QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                           QFile::ReadOther | QFile::WriteOther | QFile::ExeOther),
                 QFile::Permissions());
        const auto urls = platform.callsOf(u"openUrl"_s);
        QCOMPARE(urls.size(), 1);
        QCOMPARE(urls.first().values.first(),
                 QString::fromLatin1("warp://launch/" + WarpLauncher::percentEncodedPath(path)));
        QVERIFY(urls.first().values.first().contains(u"conf%20dir/%C3%A9/Corvane"_s));
        QVERIFY(urls.first().values.first().startsWith(u"warp://launch//"_s));

        // A later run replaces the file.
        QVERIFY(!launcher.launchWarp({{u"two"_s, u"top"_s}}));
        QCOMPARE(readAll(path), WarpLauncher::launchFileText({{u"two"_s, u"top"_s}}).toUtf8());
    }

    void unwritableFolderIsReportedAndNothingOpens()
    {
        QTemporaryDir root;
        QFile blocker(root.filePath(u"support"_s));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        FakePlatform platform;
        platform.supportDirectory = blocker.fileName(); // a file, so no folder can go under it
        const auto error = WarpLauncher(platform).launchWarp({{u"a"_s, u"ls"_s}});
        QVERIFY(error);
        QCOMPARE(error->number, 0);
        QVERIFY2(error->message.startsWith(u"Couldn’t write the Warp launch file: "_s),
                 qPrintable(error->message));
        QVERIFY(error->message.size() > 38);
        QVERIFY(platform.callsOf(u"openUrl"_s).isEmpty());
    }

    // What a YAML reader (as Warp's is) makes of the file.
    void yamlReaderGetsTheValues_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed");
        QTest::newRow("quotes") << u"echo \"a\" 'b'"_s << u"echo \"a\" 'b'"_s;
        QTest::newRow("backslashes")
            << u"printf '%s\\n' C:\\\\x \\"_s << u"printf '%s\\n' C:\\\\x \\"_s;
        QTest::newRow("hash and colon") << u"# not: a comment"_s << u"# not: a comment"_s;
        QTest::newRow("unicode") << u"café → ✓ 日本"_s << u"café → ✓ 日本"_s;
        QTest::newRow("tab") << u"a\tb"_s << u"a\tb"_s;
        QTest::newRow("remote form")
            << u"ssh box -t 'exec $SHELL -ilc \"echo \\\"hi\\\" '\\''x'\\''\"'"_s
            << u"ssh box -t 'exec $SHELL -ilc \"echo \\\"hi\\\" '\\''x'\\''\"'"_s;
        // Line feeds are written raw inside the quotes, and YAML folds a raw line break inside a
        // double-quoted scalar into a space.
        QTest::newRow("line feed folds") << u"echo a\necho b"_s << u"echo a echo b"_s;
    }

    void yamlReaderGetsTheValues()
    {
        QFETCH(QString, text);
        QFETCH(QString, parsed);
        const QByteArray file =
            WarpLauncher::launchFileText({{text, text}, {u"second"_s, u"ls"_s}}).toUtf8();
        const YAML::Node root = YAML::Load(file.toStdString());
        QCOMPARE(QString::fromStdString(root["name"].as<std::string>()), u"Corvane"_s);
        QCOMPARE(root["windows"].size(), std::size_t(2));
        const YAML::Node tab = root["windows"][0]["tabs"][0];
        QCOMPARE(QString::fromStdString(tab["title"].as<std::string>()), parsed);
        QCOMPARE(QString::fromStdString(tab["layout"]["commands"][0]["exec"].as<std::string>()),
                 parsed);
        QCOMPARE(
            QString::fromStdString(
                root["windows"][1]["tabs"][0]["layout"]["commands"][0]["exec"].as<std::string>()),
            u"ls"_s);
    }
};

QTEST_GUILESS_MAIN(WarpLauncherTest)
#include "tst_warplauncher.moc"
