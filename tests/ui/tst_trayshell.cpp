#include "ConfigStore.h"
#include "EditorView.h"
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "FallbackWindow.h"
#include "TerminalRunner.h"
#include "TrayShell.h"
#include "UpdateChecker.h"

#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestTrayShell final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_shell = std::make_unique<TrayShell>(m_store, m_runner, m_updater, m_platform);
        // The offscreen platform has no system tray.
        QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
        m_shell->start();
    }

    void closingTheFallbackWindowQuits()
    {
        FallbackWindow *window = m_shell->fallbackWindow();
        QVERIFY(window && window->isVisible());
        QVERIFY(!m_shell->trayIcon().isVisible());
        QCOMPARE(m_shell->trayIcon().toolTip(), u"Corvane"_s);
        QVERIFY(!m_shell->trayIcon().icon().isNull());

        // Closing it must not leave a process with no window and no icon behind.
        QSignalSpy quit(m_shell->menuView().quitAction(), &QAction::triggered);
        window->hide();
        QCOMPARE(quit.size(), 0);
        window->show();
        window->close();
        QCOMPARE(quit.size(), 1);
    }

    void editCommandsTwiceKeepsOneWindow()
    {
        QVERIFY(!m_shell->editor());
        m_shell->menuView().editAction()->trigger();
        EditorView *editor = m_shell->editor();
        QVERIFY(editor && QTest::qWaitForWindowExposed(editor));
        QCOMPARE(editor->size(), QSize(620, 520));

        editor->resize(700, 600);
        m_shell->menuView().editAction()->trigger();
        QCOMPARE(m_shell->editor(), editor);
        QCOMPARE(editor->size(), QSize(700, 600));

        // Closing only hides it; the next open brings the same window back.
        editor->close();
        QVERIFY(!editor->isVisible());
        m_shell->showEditor();
        QCOMPARE(m_shell->editor(), editor);
        QVERIFY(editor->isVisible());
    }

private:
    QTemporaryDir m_dir;
    testing::FakePlatform m_platform;
    testing::FakeSleeper m_sleeper;
    TerminalRunner m_runner{m_platform, m_sleeper};
    UpdateChecker m_updater{QUrl(), u"1.0"_s};
    ConfigStore m_store{m_dir.path()};
    std::unique_ptr<TrayShell> m_shell;
};

QTEST_MAIN(TestTrayShell)
#include "tst_trayshell.moc"
