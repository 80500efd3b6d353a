// The dialog that edits a command button: its label, script and language.
#pragma once

#include "model/button_model.h"

#include <QDialog>
#include <QPointer>

class QButtonGroup;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTextEdit;
class picker_view;

class picker_editCmdDialog : public QDialog {
    Q_OBJECT

public:
    picker_editCmdDialog(picker_view* view, buttonAttributes* attrs);
    // Copies the fields into the attributes.
    void update_button();
    // Edits the attributes in place; true when the user pressed OK. False
    // too when the view went away while the dialog was open (a tested
    // script may close tabs or start a new scene).
    static bool do_dialog(picker_view* view, buttonAttributes* attrs);

public slots:
    // Runs the command as it stands in the dialog.
    void test();

private:
    QPointer<picker_view> view;
    buttonAttributes* attrs;
    QLineEdit* nameEdit;
    QTextEdit* commandEdit;
    QRadioButton* melButton;
    QRadioButton* pythonButton;
    QButtonGroup* languageGroup;
    QPushButton* okButton;
    QPushButton* testButton;
    QPushButton* cancelButton;
};
