#include "WarningAlert.h"

#include <QMessageBox>

namespace corvane {

void showWarningAlert(const QString &messageText, const QString &informativeText)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Corvane"), messageText, QMessageBox::Ok);
    box.setInformativeText(informativeText);
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace corvane
