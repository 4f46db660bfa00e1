#pragma once

#include <QList>
#include <QString>

class QLabel;
class QToolButton;
class QWidget;

namespace corvane::ui {

// Text sizes relative to the body font, after the macOS callout and caption styles.
enum class TextStyle { callout, caption };

void applyTextStyle(QWidget *widget, TextStyle style);
void applyMonospace(QWidget *widget, TextStyle style);

// A dimmed label for captions and explanations.
QLabel *secondaryLabel(const QString &text, TextStyle style, QWidget *parent, bool wrap = false);
// Whether Tab may move the focus to `widget` now.
bool takesTab(const QWidget *widget);

// A flat button showing only a theme icon.
QToolButton *iconButton(const QString &objectName, const QString &iconName, QWidget *parent);
// A flat button with an icon and a title in the accent colour.
QToolButton *accentButton(const QString &objectName, const QString &title, const QString &iconName,
                          QWidget *parent);

} // namespace corvane::ui
