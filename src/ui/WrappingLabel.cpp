#include "WrappingLabel.h"

#include <QEvent>

#include <algorithm>

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
        std::fill(std::begin(m_answers), std::end(m_answers), Answer());
    }
    for (const Answer &answer : m_answers) {
        if (answer.width == width)
            return answer.height;
    }
    std::copy_backward(std::begin(m_answers), std::end(m_answers) - 1, std::end(m_answers));
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
        std::fill(std::begin(m_answers), std::end(m_answers), Answer());
        break;
    default:
        break;
    }
    QLabel::changeEvent(event);
}

} // namespace corvane
