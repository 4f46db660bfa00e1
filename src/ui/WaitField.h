#pragma once

#include <QJsonValue>
#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

namespace corvane {

// A wait as a group editor shows it: a small menu button naming its kind ("wait", "wait for
// port", …) and the field for its value: seconds, a port, a URL or a file. What is typed is
// stored as typed; a value the run could not use shows as invalid, with the reason in its tooltip.
class WaitField final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WaitField)

public:
    // What the plain choice is: a number of seconds (after a command), or no wait at all (the
    // start of a window).
    enum class Plain { seconds, none };
    enum class Kind { plain, port, url, file, unknown };

    explicit WaitField(Plain plain, QWidget *parent = nullptr);

    // Brings the field up to date without disturbing what the user is typing. `seconds` is
    // ignored for Plain::none.
    void setWait(double seconds, const QJsonValue &condition);
    Kind kind() const { return m_kind; }
    // Why the value cannot be used, or empty.
    QString problem() const { return m_problem; }
    QLineEdit *valueField() const { return m_value; }
    // The places Tab reaches: the kind's menu button, then the value.
    QList<QWidget *> tabStops() const;
    // Picks a kind as the menu does.
    void choose(Kind kind);

Q_SIGNALS:
    // Both halves at once, so that a change of kind is one edit. `condition` is Undefined for
    // the plain choice.
    void edited(double seconds, const QJsonValue &condition);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void showValue(bool force);
    void showKind();
    void showProblem();
    void valueTyped(const QString &text);
    void step(int by);

    Plain m_plain;
    Kind m_kind = Kind::plain;
    double m_seconds = 0;
    QJsonValue m_condition{QJsonValue::Undefined};
    // What the row held before a condition replaced its seconds, to bring them back.
    double m_secondsBefore = 0;
    QString m_problem;

    QToolButton *m_kindButton;
    QLineEdit *m_value;
    QLabel *m_unit;
};

} // namespace corvane
