// Answers the next modal dialog from a timer, so a test never blocks on one:
// presses the button with the given text, or for a file dialog picks the
// given file (an empty text cancels it).
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace modal_helper {

// What the last answered dialog said, for tests that check its text.
inline QString& last_text()
{
    static QString text;
    return text;
}

inline void answer(QWidget* modal, const QString& choice)
{
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        last_text() = box->text();
        for (QAbstractButton* b : box->buttons()) {
            if (b->text().remove('&') == choice) {
                b->click();
                return;
            }
        }
        box->reject();
        return;
    }
    if (auto* files = qobject_cast<QFileDialog*>(modal)) {
        if (choice.isEmpty()) {
            files->reject();
        } else {
            // done() rather than accept(): the dialog's own checks wait for
            // its file model, which may still be loading. The name goes
            // straight into the name field, which selectFile() leaves alone
            // while it has focus.
            if (auto* edit = files->findChild<QLineEdit*>("fileNameEdit"))
                edit->setText(QFileInfo(choice).absoluteFilePath());
            else
                files->selectFile(choice);
            static_cast<QDialog*>(files)->done(QDialog::Accepted);
        }
        return;
    }
    if (auto* dialog = qobject_cast<QDialog*>(modal)) {
        for (QAbstractButton* b : dialog->findChildren<QAbstractButton*>()) {
            if (b->text().remove('&') == choice) {
                b->click();
                return;
            }
        }
        dialog->reject();
    }
}

// The dialog that is waiting for an answer: the active modal widget when it
// is a dialog, else any visible modal dialog (a dialog whose parent window is
// not shown may not become the active one).
inline QWidget* waiting_dialog()
{
    if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
        return dialog;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (qobject_cast<QDialog*>(w) && w->isVisible() && w->isModal())
            return w;
    return nullptr;
}

// Hands the next modal dialog to `act` once it shows up (polling up to
// ~10 s); a dialog being answered already is not the next one.
inline void with_next(std::function<void(QWidget*)> act, QPointer<QWidget> previous = nullptr, int tries = 1000)
{
    QTimer::singleShot(10, [act, previous, tries] {
        QWidget* modal = waiting_dialog();
        if (modal && modal != previous.data())
            act(modal);
        else if (tries > 0)
            with_next(act, previous, tries - 1);
    });
}

// Answers the next modal dialog.
inline void answer_next(const QString& choice, int tries = 1000)
{
    with_next([choice](QWidget* modal) { answer(modal, choice); }, nullptr, tries);
}

// Answers dialogs one after another, each with the next choice.
inline void answer_in_turn(const QStringList& choices, QPointer<QWidget> previous = nullptr)
{
    if (choices.isEmpty())
        return;
    with_next([choices](QWidget* modal) {
        QPointer<QWidget> answered(modal);
        answer(modal, choices.first());
        answer_in_turn(choices.mid(1), answered);
    }, previous);
}

// Hands the next popup menu to `act` once it shows up.
inline void with_next_popup(std::function<void(QWidget*)> act, int tries = 1000)
{
    QTimer::singleShot(10, [act, tries] {
        if (QWidget* popup = QApplication::activePopupWidget())
            act(popup);
        else if (tries > 0)
            with_next_popup(act, tries - 1);
    });
}

} // namespace modal_helper
