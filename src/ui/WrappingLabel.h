#pragma once

#include <QLabel>

namespace corvane {

// A word-wrapping label that remembers its height for the widths it was last asked about. Layouts
// ask every label of a long scroll area for its height on each relayout, and a wrapped label lays
// out its whole text to answer, so without this one keystroke costs a text layout per group.
class WrappingLabel final : public QLabel {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WrappingLabel)

public:
    explicit WrappingLabel(const QString &text = {}, QWidget *parent = nullptr);

    int heightForWidth(int width) const override;
    // With an ignored horizontal size policy (the width is the layout's), only the height is
    // hinted, from the last answer: QLabel would lay out the whole text several times to find a
    // pleasing width, which for a window of thousands of steps' preview takes seconds.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;

private:
    struct Answer {
        int width = -1;
        int height = 0;
    };
    mutable QString m_answeredText;
    // Layouts alternate between a few widths (with and without the scroll bar, the minimum and
    // the size given); newest first.
    mutable Answer m_answers[4];
};

} // namespace corvane
