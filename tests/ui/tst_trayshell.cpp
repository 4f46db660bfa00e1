#include "ConfigStore.h"
#include "EditorView.h"
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "FallbackWindow.h"
#include "TerminalRunner.h"
#include "TrayShell.h"
#include "UpdateChecker.h"

#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestTrayShell final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_store = std::make_unique<ConfigStore>(m_dir->path());
        m_runner = std::make_unique<TerminalRunner>(m_platform, m_sleeper);
        m_updater = std::make_unique<UpdateChecker>(QUrl(), u"1.0"_s);
        m_shell = std::make_unique<TrayShell>(*m_store, *m_runner, *m_updater, m_platform);
    }

    void cleanup()
    {
        m_shell.reset();
        m_updater.reset();
        m_runner.reset();
        m_store.reset();
        m_dir.reset();
    }

    void withoutTrayTheFallbackWindowShows()
    {
        // The offscreen platform has no system tray.
        QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
        m_shell->start();
        QVERIFY(m_shell->fallbackWindow());
        QVERIFY(m_shell->fallbackWindow()->isVisible());
        QVERIFY(!m_shell->trayIcon().isVisible());
        QVERIFY(!m_shell->editor());
        QCOMPARE(m_shell->trayIcon().toolTip(), u"Corvane"_s);
        QVERIFY(!m_shell->trayIcon().icon().isNull());
        QCOMPARE(m_shell->menu().actions(), m_shell->menuView().entries());
    }

    void editCommandsTwiceKeepsOneWindow()
    {
        m_shell->start();
        m_shell->menuView().editAction()->trigger();
        EditorView *editor = m_shell->editor();
        QVERIFY(editor);
        QVERIFY(QTest::qWaitForWindowExposed(editor));
        QCOMPARE(editor->size(), QSize(620, 520));

        editor->resize(700, 600);
        m_shell->menuView().editAction()->trigger();
        QCOMPARE(m_shell->editor(), editor);
        QCOMPARE(editor->size(), QSize(700, 600));
        const QWidgetList windows = QApplication::topLevelWidgets();
        QCOMPARE(std::count_if(windows.begin(), windows.end(),
                               [](QWidget *w) { return qobject_cast<EditorView *>(w) != nullptr; }),
                 1);

        // Closing only hides it; the next open brings the same window back.
        editor->close();
        QVERIFY(!editor->isVisible());
        m_shell->showEditor();
        QCOMPARE(m_shell->editor(), editor);
        QVERIFY(editor->isVisible());
    }

private:
    testing::FakePlatform m_platform;
    testing::FakeSleeper m_sleeper;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ConfigStore> m_store;
    std::unique_ptr<TerminalRunner> m_runner;
    std::unique_ptr<UpdateChecker> m_updater;
    std::unique_ptr<TrayShell> m_shell;
};

QTEST_MAIN(TestTrayShell)
#include "tst_trayshell.moc"
