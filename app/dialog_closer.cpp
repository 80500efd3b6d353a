#include "dialog_closer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <cstdio>

namespace {

// The active modal widget, or any visible modal dialog: without a window
// system a dialog need not become the active window.
QDialog* open_modal_dialog()
{
    if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
        return dialog;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* dialog = qobject_cast<QDialog*>(w))
            if (dialog->isVisible() && dialog->isModal())
                return dialog;
    return nullptr;
}

// Cancel if there is one, else the only button; null when neither applies.
QAbstractButton* closing_button(QDialog* dialog)
{
    if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
        if (QAbstractButton* cancel = box->button(QMessageBox::Cancel))
            return cancel;
        return box->buttons().size() == 1 ? box->buttons().constFirst() : nullptr;
    }
    for (auto* buttons : dialog->findChildren<QDialogButtonBox*>())
        if (QAbstractButton* cancel = buttons->button(QDialogButtonBox::Cancel))
            return cancel;
    QList<QAbstractButton*> visible;
    for (QAbstractButton* b : dialog->findChildren<QAbstractButton*>())
        if (b->isVisibleTo(dialog))
            visible << b;
    return visible.size() == 1 ? visible.first() : nullptr;
}

} // namespace

dialog_closer::dialog_closer(QObject* parent) : QObject(parent)
{
    // Timers also fire inside a dialog's own event loop, which is where a
    // scripted run would otherwise stop.
    auto* timer = new QTimer(this);
    timer->setInterval(100);
    connect(timer, &QTimer::timeout, this, &dialog_closer::check);
    timer->start();
}

void dialog_closer::check()
{
    QDialog* dialog = open_modal_dialog();
    if (!dialog || dialog != seen_) {
        seen_ = dialog; // close it at the next check, once it had its moment
        return;
    }
    seen_ = nullptr;
    QAbstractButton* button = closing_button(dialog);
    const QString how = button ? "with " + button->text().remove('&') : QString("by rejecting it");
    // Said first, so the line comes before whatever closing the dialog prints.
    std::printf("sandbox: closed dialog \"%s\" %s\n", qUtf8Printable(dialog->windowTitle()),
                qUtf8Printable(how));
    std::fflush(stdout);
    QPointer<QDialog> guard(dialog);
    if (button)
        button->click();
    if (guard && guard->isVisible())
        guard->reject(); // a button that does not close it must not stall the run
}
