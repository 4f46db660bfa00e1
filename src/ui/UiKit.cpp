#include "UiKit.h"

#include "BrandColors.h"
#include "Icons.h"
#include "WrappingLabel.h"

#include <QFontDatabase>
#include <QLabel>
#include <QToolButton>

namespace corvane::ui {

namespace {

qreal scaleOf(TextStyle style)
{
    return style == TextStyle::callout ? 12.0 / 13.0 : 10.0 / 13.0;
}

void scaleFont(QFont &font, TextStyle style)
{
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * scaleOf(style));
    else
        font.setPixelSize(qMax(8, int(font.pixelSize() * scaleOf(style))));
}

} // namespace

void applyTextStyle(QWidget *widget, TextStyle style)
{
    QFont font = widget->font();
    scaleFont(font, style);
    widget->setFont(font);
}

void applyMonospace(QWidget *widget, TextStyle style)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(widget->font().pointSizeF() > 0 ? widget->font().pointSizeF()
                                                       : font.pointSizeF());
    scaleFont(font, style);
    widget->setFont(font);
}

QLabel *secondaryLabel(const QString &text, TextStyle style, QWidget *parent, bool wrap)
{
    QLabel *label = wrap ? new WrappingLabel(text, parent) : new QLabel(text, parent);
    applyTextStyle(label, style);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    return label;
}

bool takesTab(const QWidget *widget)
{
    return (widget->focusPolicy() & Qt::TabFocus) && widget->isVisible() && widget->isEnabled();
}

QToolButton *iconButton(const QString &objectName, const QString &iconName, QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(objectName);
    button->setAutoRaise(true);
    button->setIcon(Icons::get(iconName));
    return button;
}

QToolButton *accentButton(const QString &objectName, const QString &title, const QString &iconName,
                          QWidget *parent)
{
    auto *button = iconButton(objectName, iconName, parent);
    button->setText(title);
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    applyTextStyle(button, TextStyle::callout);
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, brandAccent());
    button->setPalette(palette);
    return button;
}

} // namespace corvane::ui
