#include "LoginOptions.h"

#include "Platform.h"
#include "UiKit.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>

namespace corvane {

LoginOptions::LoginOptions(Platform &platform, QWidget *parent)
    : QWidget(parent), m_platform(platform),
      m_start(new QCheckBox(QStringLiteral("&Start at login"))),
      m_run(new QCheckBox(QStringLiteral("&Run at login"))), m_note(new QLabel)
{
    m_start->setObjectName(QStringLiteral("startAtLogin"));
    m_run->setObjectName(QStringLiteral("runAtLogin"));
    m_start->setToolTip(QStringLiteral("Put Corvane in the tray when you log in"));
    m_run->setToolTip(QStringLiteral("Also run your startup commands when you log in"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    for (QCheckBox *box : {m_start, m_run}) {
        ui::applyTextStyle(box, ui::TextStyle::caption);
        layout->addWidget(box);
    }
    ui::applyTextStyle(m_note, ui::TextStyle::caption);
    layout->addWidget(m_note);

    // `clicked` comes from the user only, never from showing the setting.
    connect(m_start, &QCheckBox::clicked, this,
            [this](bool checked) { apply(checked ? LoginStart::start : LoginStart::off); });
    connect(m_run, &QCheckBox::clicked, this,
            [this](bool checked) { apply(checked ? LoginStart::startAndRun : LoginStart::start); });
    showSetting();
}

void LoginOptions::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    showSetting();
}

void LoginOptions::apply(LoginStart wanted)
{
    if (const auto problem = m_platform.setLoginStart(wanted))
        m_platform.showAlert(QStringLiteral("Couldn’t change how Corvane starts at login"),
                             *problem);
    // Whatever happened, the boxes show what the system now has.
    showSetting();
}

void LoginOptions::showSetting()
{
    const LoginStart setting = m_platform.loginStart();
    m_start->setChecked(setting != LoginStart::off);
    m_run->setChecked(setting == LoginStart::startAndRun);
    m_note->setText(m_platform.loginStartNote()); // e.g. still to be allowed in System Settings
    m_note->setVisible(!m_note->text().isEmpty());
}

} // namespace corvane
