#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;

namespace corvane {

class Platform;
enum class LoginStart;

// "Start at login" and "Run at login". They show the system's own setting, read again whenever
// they are shown, and change it at once. Running at login implies starting: checking Run checks
// Start, unchecking Start unchecks Run.
class LoginOptions final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LoginOptions)

public:
    explicit LoginOptions(Platform &platform, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void apply(LoginStart wanted);
    void showSetting();

    Platform &m_platform;
    QCheckBox *m_start;
    QCheckBox *m_run;
    QLabel *m_note;
};

} // namespace corvane
