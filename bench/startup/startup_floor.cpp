// The least a Qt tray application can be: an icon with a five-entry menu and nothing behind it.
// Corvane's start-up time, memory and idle wake-ups are measured against this floor.
#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);

    QMenu menu;
    menu.addAction(u"Run Startup Commands"_s)->setShortcut(QKeySequence(u"Ctrl+R"_s));
    menu.addAction(u"Edit Commands…"_s)->setShortcut(QKeySequence(u"Ctrl+E"_s));
    menu.addSeparator();
    menu.addAction(u"Check for Updates…"_s);
    QAction *quit = menu.addAction(u"Quit Corvane"_s);
    quit->setShortcut(QKeySequence(u"Ctrl+Q"_s));
    QObject::connect(quit, &QAction::triggered, &app, &QApplication::quit);

    QSystemTrayIcon tray(QIcon::fromTheme(u"utilities-terminal"_s, QIcon(u":/corvane.svg"_s)));
    tray.setToolTip(u"Corvane"_s);
    tray.setContextMenu(&menu);
    tray.show();
    return QApplication::exec();
}
