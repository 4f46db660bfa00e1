#include "FallbackWindow.h"

#include "Icons.h"

#include <QCloseEvent>
#include <QFrame>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

FallbackWindow::FallbackWindow(const QList<QAction *> &entries, QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("fallbackWindow"));
    setWindowTitle(QStringLiteral("Corvane"));
    setWindowIcon(Icons::get(QStringLiteral("utilities-terminal")));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(4);
    for (QAction *action : entries) {
        if (action->isSeparator()) {
            auto *line = new QFrame(this);
            line->setFrameShape(QFrame::HLine);
            line->setFrameShadow(QFrame::Sunken);
            layout->addWidget(line);
            continue;
        }
        // The button shows the action's title and enabled state, and adding the action to the
        // button makes its shortcut live in this window.
        auto *button = new QToolButton(this);
        button->setObjectName(action->objectName() + QStringLiteral("Button"));
        button->setDefaultAction(action);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        layout->addWidget(button);
    }
    setFixedSize(sizeHint().expandedTo(QSize(240, 0)));
}

void FallbackWindow::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    Q_EMIT closedByUser();
}

} // namespace corvane
