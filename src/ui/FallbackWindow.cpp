#include "FallbackWindow.h"

#include "Icons.h"
#include "UiKit.h"

#include <QCloseEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

// A push button standing for `action`: its title, enabled state and trigger. (QToolButton's
// default action would do this, but draws a flat tool button.)
QPushButton *buttonFor(QAction *action, QWidget *parent)
{
    auto *button = new QPushButton(parent);
    button->setObjectName(action->objectName() + QStringLiteral("Button"));
    const auto follow = [button, action] {
        button->setText(action->text());
        button->setEnabled(action->isEnabled());
        button->setToolTip(action->shortcut().toString(QKeySequence::NativeText));
    };
    follow();
    QObject::connect(action, &QAction::changed, button, follow);
    QObject::connect(button, &QPushButton::clicked, action, &QAction::trigger);
    return button;
}

} // namespace

FallbackWindow::FallbackWindow(const QList<QAction *> &entries, QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("fallbackWindow"));
    setWindowTitle(QStringLiteral("Corvane"));
    setWindowIcon(Icons::get(QStringLiteral("utilities-terminal")));
    // The entries' shortcuts work while this window is active.
    addActions(entries);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(8);

    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    auto *icon = new QLabel(this);
    icon->setPixmap(windowIcon().pixmap(32, 32));
    header->addWidget(icon, 0, Qt::AlignTop);
    auto *note = ui::secondaryLabel(
        QStringLiteral("No system tray was found, so Corvane’s menu is in this window."),
        ui::TextStyle::callout, this);
    note->setObjectName(QStringLiteral("noTrayNote"));
    header->addWidget(note, 1, Qt::AlignVCenter);
    layout->addLayout(header);
    layout->addSpacing(4);

    // The entries above the separator, one per row; those below it side by side.
    QHBoxLayout *row = nullptr;
    for (QAction *action : entries) {
        if (action->isSeparator()) {
            auto *line = new QFrame(this);
            line->setFrameShape(QFrame::HLine);
            line->setFrameShadow(QFrame::Sunken);
            layout->addSpacing(4);
            layout->addWidget(line);
            row = new QHBoxLayout;
            layout->addLayout(row);
            continue;
        }
        QPushButton *button = buttonFor(action, this);
        if (row)
            row->addWidget(button);
        else
            layout->addWidget(button);
    }
    setFixedSize(sizeHint());
}

void FallbackWindow::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    Q_EMIT closedByUser();
}

} // namespace corvane
