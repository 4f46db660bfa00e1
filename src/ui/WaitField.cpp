#include "WaitField.h"

#include "DelayText.h"
#include "UiKit.h"
#include "WaitCondition.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QToolButton>

#include <cmath>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QLatin1StringView keyOf(WaitField::Kind kind)
{
    switch (kind) {
    case WaitField::Kind::port:
        return "port"_L1;
    case WaitField::Kind::url:
        return "url"_L1;
    case WaitField::Kind::file:
        return "file"_L1;
    default:
        return {};
    }
}

WaitField::Kind kindOf(const QJsonValue &condition)
{
    if (condition.isUndefined())
        return WaitField::Kind::plain;
    const QJsonObject object = condition.toObject();
    for (WaitField::Kind kind :
         {WaitField::Kind::port, WaitField::Kind::url, WaitField::Kind::file}) {
        if (object.contains(keyOf(kind)))
            return kind;
    }
    return WaitField::Kind::unknown;
}

QString textOf(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', 17);
    if (value.isUndefined() || value.isNull())
        return {};
    // Anything else as the file has it, e.g. `true` or `[1]`.
    const QString json =
        QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
    return json.mid(1, json.size() - 2);
}

} // namespace

WaitField::WaitField(Plain plain, QWidget *parent)
    : QWidget(parent), m_plain(plain), m_kindButton(new QToolButton(this)),
      m_value(new QLineEdit(this)), m_unit(new QLabel(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);

    m_kindButton->setObjectName(QStringLiteral("waitKind"));
    m_kindButton->setAutoRaise(true);
    m_kindButton->setFocusPolicy(Qt::StrongFocus);
    m_kindButton->setToolTip(QStringLiteral("Wait a number of seconds, or for a port, a URL or a "
                                            "file to be ready"));
    ui::applyTextStyle(m_kindButton, ui::TextStyle::caption);
    layout->addWidget(m_kindButton);

    m_value->setObjectName(QStringLiteral("waitValue"));
    m_value->installEventFilter(this);
    layout->addWidget(m_value, 1);

    ui::applyTextStyle(m_unit, ui::TextStyle::caption);
    QPalette palette = m_unit->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    m_unit->setPalette(palette);
    m_unit->setText(QStringLiteral("s"));
    layout->addWidget(m_unit);

    // The menu is made when it is asked for: a group may hold thousands of rows.
    connect(m_kindButton, &QToolButton::clicked, this, [this] {
        QMenu menu(this);
        const bool seconds = m_plain == Plain::seconds;
        const QList<std::pair<Kind, QString>> choices{
            {Kind::plain, seconds ? u"Wait seconds"_s : u"Right away"_s},
            {Kind::port, seconds ? u"Wait for a port to open"_s : u"When a port is open"_s},
            {Kind::url, seconds ? u"Wait for a URL to answer"_s : u"When a URL answers"_s},
            {Kind::file, seconds ? u"Wait for a file to exist"_s : u"When a file exists"_s}};
        for (const auto &[kind, title] : choices) {
            QAction *action = menu.addAction(title);
            action->setCheckable(true);
            action->setChecked(kind == m_kind);
            connect(action, &QAction::triggered, this, [this, kind = kind] { choose(kind); });
        }
        menu.exec(m_kindButton->mapToGlobal(QPoint(0, m_kindButton->height())));
    });
    connect(m_value, &QLineEdit::textEdited, this, &WaitField::valueTyped);
    connect(m_value, &QLineEdit::editingFinished, this, [this] { showValue(true); });

    showKind();
}

void WaitField::setWait(double seconds, const QJsonValue &condition)
{
    const Kind kind = kindOf(condition);
    const bool kindChanged = kind != m_kind;
    m_seconds = seconds;
    m_condition = condition;
    m_kind = kind;
    if (kindChanged)
        showKind();
    showValue(kindChanged);
    showProblem();
}

QList<QWidget *> WaitField::tabStops() const
{
    return {m_kindButton, m_value};
}

void WaitField::choose(Kind kind)
{
    if (kind == m_kind || kind == Kind::unknown)
        return;
    double seconds = m_seconds;
    QJsonValue condition{QJsonValue::Undefined};
    if (kind == Kind::plain) {
        seconds = m_secondsBefore;
    } else {
        // A condition replaces the blind wait; the timeout (and a port's host) stay.
        if (m_kind == Kind::plain) {
            m_secondsBefore = m_seconds;
            seconds = 0;
        }
        QJsonObject object;
        const QJsonObject old = m_condition.toObject();
        if (old.contains("timeout"_L1))
            object.insert("timeout"_L1, old.value("timeout"_L1));
        if (kind == Kind::port && old.contains("host"_L1))
            object.insert("host"_L1, old.value("host"_L1));
        object.insert(keyOf(kind), QString());
        condition = object;
    }
    Q_EMIT edited(m_plain == Plain::seconds ? seconds : 0, condition);
    m_value->setFocus(Qt::OtherFocusReason);
}

void WaitField::valueTyped(const QString &text)
{
    if (m_kind == Kind::plain) {
        // Text that is not a number yet (half typed, or letters) keeps the stored seconds.
        if (const auto seconds = DelayText::parse(text, locale()))
            Q_EMIT edited(*seconds, m_condition);
        else
            showProblem();
        return;
    }
    if (m_kind == Kind::unknown)
        return;
    QJsonObject object = m_condition.toObject();
    QJsonValue value = text;
    if (m_kind == Kind::port) {
        bool ok = false;
        const double number = text.trimmed().toDouble(&ok);
        if (ok && std::isfinite(number))
            value = number;
    }
    object.insert(keyOf(m_kind), value);
    Q_EMIT edited(m_seconds, object);
}

void WaitField::step(int by)
{
    if (m_kind == Kind::plain && m_plain == Plain::seconds) {
        const double seconds = std::max(0.0, std::floor(m_seconds) + by);
        m_value->setText(DelayText::format(seconds, locale()));
        Q_EMIT edited(seconds, m_condition);
    } else if (m_kind == Kind::port) {
        const int port =
            std::clamp(int(m_condition.toObject().value("port"_L1).toDouble()) + by, 1, 65535);
        m_value->setText(QString::number(port));
        valueTyped(m_value->text());
    }
}

bool WaitField::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_value && event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->modifiers() == Qt::NoModifier &&
            (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down)) {
            step(key->key() == Qt::Key_Up ? 1 : -1);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void WaitField::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LocaleChange)
        showValue(true);
    QWidget::changeEvent(event);
}

void WaitField::showKind()
{
    const bool seconds = m_plain == Plain::seconds;
    QString title;
    QString placeholder;
    switch (m_kind) {
    case Kind::plain:
        title = seconds ? u"wait"_s : u"right away"_s;
        placeholder = u"0"_s;
        break;
    case Kind::port:
        title = seconds ? u"wait for port"_s : u"when port"_s;
        placeholder = u"5432"_s;
        break;
    case Kind::url:
        title = seconds ? u"wait for URL"_s : u"when URL answers"_s;
        placeholder = u"http://localhost:8080/health"_s;
        break;
    case Kind::file:
        title = seconds ? u"wait for file"_s : u"when file exists"_s;
        placeholder = u"~/ready"_s;
        break;
    case Kind::unknown:
        title = seconds ? u"wait for ?"_s : u"when ?"_s;
        break;
    }
    m_kindButton->setText(title + u" ▾"_s);
    m_value->setPlaceholderText(placeholder);
    m_value->setReadOnly(m_kind == Kind::unknown);
    m_value->setVisible(m_kind != Kind::plain || seconds);
    m_unit->setVisible(m_kind == Kind::plain && seconds);
    // Numbers of up to six digits fit; a URL or a path takes what room there is.
    const bool number = m_kind == Kind::plain || m_kind == Kind::port;
    const int digits = m_value->fontMetrics().horizontalAdvance(u"000000"_s);
    if (number) {
        m_value->setFixedWidth(digits + 14);
        m_value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    } else {
        m_value->setMinimumWidth(3 * digits);
        m_value->setMaximumWidth(QWIDGETSIZE_MAX);
        m_value->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    }
    setSizePolicy(number ? QSizePolicy::Fixed : QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void WaitField::showValue(bool force)
{
    // While the user types, "2," or "abc" stays as typed; it is rewritten when editing ends.
    if (!force && m_value->hasFocus())
        return;
    QString text;
    if (m_kind == Kind::plain) {
        const auto shown = DelayText::parse(m_value->text(), locale());
        if (!force && shown && *shown == m_seconds)
            return;
        text = m_plain == Plain::seconds ? DelayText::format(m_seconds, locale()) : QString();
    } else if (m_kind == Kind::unknown) {
        text = textOf(m_condition);
    } else {
        text = textOf(m_condition.toObject().value(keyOf(m_kind)));
    }
    if (m_value->text() != text)
        m_value->setText(text);
}

void WaitField::showProblem()
{
    QString problem;
    if (m_kind == Kind::plain) {
        if (m_plain == Plain::seconds && !DelayText::parse(m_value->text(), locale()) &&
            !m_value->text().trimmed().isEmpty())
            problem = u"Not a number of seconds"_s;
    } else {
        problem = readWait(m_condition).problem;
        if (!problem.isEmpty())
            problem[0] = problem[0].toUpper();
    }
    if (problem == m_problem)
        return;
    m_problem = problem;
    m_value->setToolTip(problem);
    m_value->setAccessibleDescription(problem);
    // A tint rather than a style sheet keeps the platform's look.
    QPalette palette = m_value->parentWidget()->palette();
    if (!problem.isEmpty())
        palette.setColor(QPalette::Base, QColor(0xFF, 0xD9, 0xD6));
    m_value->setPalette(palette);
    m_value->setProperty("invalid", !problem.isEmpty());
}

} // namespace corvane
