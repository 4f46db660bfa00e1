#include "WrappingLabel.h"

#include <QEvent>

namespace corvane {

WrappingLabel::WrappingLabel(const QString &text, QWidget *parent) : QLabel(text, parent)
{
    setWordWrap(true);
}

int WrappingLabel::heightForWidth(int width) const
{
    // setText() is not virtual, so a changed text is noticed here.
    if (text() != m_answeredText) {
        m_answeredText = text();
        m_answers[0] = m_answers[1] = {};
    }
    for (const Answer &answer : m_answers) {
        if (answer.width == width)
            return answer.height;
    }
    m_answers[1] = m_answers[0];
    m_answers[0] = {width, QLabel::heightForWidth(width)};
    return m_answers[0].height;
}

QSize WrappingLabel::sizeHint() const
{
    if (sizePolicy().horizontalPolicy() != QSizePolicy::Ignored)
        return QLabel::sizeHint();
    return {0, m_answers[0].width >= 0 ? m_answers[0].height : minimumSizeHint().height()};
}

QSize WrappingLabel::minimumSizeHint() const
{
    if (sizePolicy().horizontalPolicy() != QSizePolicy::Ignored)
        return QLabel::minimumSizeHint();
    const QMargins margins = contentsMargins();
    return {0, fontMetrics().lineSpacing() + margins.top() + margins.bottom()};
}

void WrappingLabel::changeEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::StyleChange:
    case QEvent::ContentsRectChange:
        m_answers[0] = m_answers[1] = {};
        break;
    default:
        break;
    }
    QLabel::changeEvent(event);
}

} // namespace corvane
