#include "AlertUtil.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace vela {

namespace {

struct AlertButtons {
    QString first;
    QString second;  // empty: a single button
};

int runAlert(const QString& message, const QString& title, QMessageBox::Icon icon,
             const AlertButtons& buttons, QWidget* window,
             const AlertUtil::CompletionHandler& completionHandler) {
    QMessageBox box(window);
    box.setIcon(icon);
    // The headline in bold and room for a sentence per line, as alerts look elsewhere.
    box.setStyleSheet(
        QStringLiteral("QLabel#qt_msgbox_label { font-weight: 600; min-width: 300px; }"
                       "QLabel#qt_msgbox_informativelabel { min-width: 300px; }"));
    box.setTextFormat(Qt::PlainText);
    box.setText(title.isNull() ? QString() : title);
    if (!message.isNull()) {
        box.setInformativeText(message);
    }
    if (window) {
        box.setWindowModality(Qt::WindowModal);  // a sheet on the Mac
    }
    QPushButton* first = box.addButton(buttons.first, QMessageBox::AcceptRole);
    QPushButton* second = nullptr;
    if (!buttons.second.isEmpty()) {
        second = box.addButton(buttons.second, QMessageBox::RejectRole);
        box.setEscapeButton(second);
    }
    box.setDefaultButton(first);
    first->setFocus();

    if (window) {
        window->raise();
        window->activateWindow();
    }
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();

    int response = AlertUtil::kFirstButtonReturn;
    if (second && box.clickedButton() == second) {
        response = AlertUtil::kSecondButtonReturn;
    }
    if (completionHandler) {
        completionHandler(response);
    }
    return response;
}

}  // namespace

void AlertUtil::runModalWithMessage(const QString& message, const QString& title) {
    runAlert(message, title, QMessageBox::Warning, {tr("OK"), {}}, nullptr, {});
}

void AlertUtil::runModalWithError(const QString& message, const QString& title) {
    runAlert(message, title, QMessageBox::Critical, {tr("OK"), {}}, nullptr, {});
}

int AlertUtil::runModalWithSelectMessage(const QString& message, const QString& title,
                                         const QString& primaryButton,
                                         const QString& secondaryButton,
                                         const CompletionHandler& completionHandler,
                                         QWidget* window) {
    // The titles are keys of the translation table, like every visible text.
    const QByteArray primaryKey = primaryButton.toUtf8();
    const QByteArray secondaryKey = secondaryButton.toUtf8();
    return runAlert(message, title, QMessageBox::Warning,
                    {tr(primaryKey.constData()), tr(secondaryKey.constData())}, window,
                    completionHandler);
}

int AlertUtil::runModalWithErrorMessage(const QString& message, const QString& title,
                                        const CompletionHandler& completionHandler,
                                        QWidget* window) {
    return runAlert(message, title, QMessageBox::Warning, {tr("Logout"), tr("Cancel")}, window,
                    completionHandler);
}

}  // namespace vela
