#include "window/command_dialog.h"

#include "view/picker_view.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QTextEdit>

picker_editCmdDialog::picker_editCmdDialog(picker_view* v, buttonAttributes* a)
    : QDialog(v), view(v), attrs(a)
{
    setModal(true);
    setSizeGripEnabled(false);
    setWindowTitle("Edit Command");

    melButton = new QRadioButton("MEL");
    pythonButton = new QRadioButton("Python");
    languageGroup = new QButtonGroup(this);
    languageGroup->setExclusive(true);
    languageGroup->addButton(melButton);
    languageGroup->addButton(pythonButton);
    melButton->setChecked(attrs->language == 0);
    pythonButton->setChecked(attrs->language == 1);
    auto* languages = new QHBoxLayout;
    languages->addWidget(melButton);
    languages->addWidget(pythonButton);
    languages->addStretch(1);

    nameEdit = new QLineEdit(attrs->label);
    nameEdit->setMaxLength(128);
    commandEdit = new QTextEdit;
    commandEdit->setFont(QFont("Monospace", 9));
    commandEdit->setPlainText(attrs->names.value(0));

    okButton = new QPushButton("OK");
    testButton = new QPushButton("Test");
    cancelButton = new QPushButton("Cancel");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(okButton);
    buttons->addWidget(testButton);
    buttons->addWidget(cancelButton);

    auto* grid = new QGridLayout;
    grid->setColumnMinimumWidth(0, 80);
    grid->setColumnMinimumWidth(1, 200);
    grid->addWidget(new QLabel("Name:"), 0, 0);
    grid->addWidget(nameEdit, 0, 1);
    grid->addWidget(new QLabel("Command:"), 1, 0);
    grid->addWidget(commandEdit, 1, 1);
    grid->addWidget(new QLabel("Language:"), 2, 0);
    grid->addLayout(languages, 2, 1);
    grid->addLayout(buttons, 3, 0, 1, 2);
    setLayout(grid);

    connect(okButton, SIGNAL(clicked(bool)), this, SLOT(accept()));
    connect(testButton, SIGNAL(clicked(bool)), this, SLOT(test()));
    connect(cancelButton, SIGNAL(clicked(bool)), this, SLOT(reject()));
}

void picker_editCmdDialog::update_button()
{
    attrs->label = nameEdit->text();
    if (attrs->names.isEmpty())
        attrs->names.append(commandEdit->toPlainText());
    else
        attrs->names[0] = commandEdit->toPlainText();
    if (melButton->isChecked())
        attrs->language = 0;
    else if (pythonButton->isChecked())
        attrs->language = 1;
}

void picker_editCmdDialog::test()
{
    // The attributes keep what was tested, even if the edit is then cancelled.
    update_button();
    picker_view::run_command(*attrs);
}

bool picker_editCmdDialog::do_dialog(picker_view* view, buttonAttributes* attrs)
{
    if (!attrs || attrs->names.isEmpty())
        return false;
    // On the heap and watched: the view owns the dialog, and a script run by
    // Test may delete the view (and so the dialog) while it is open.
    QPointer<picker_editCmdDialog> dialog = new picker_editCmdDialog(view, attrs);
    QSettings settings("Quillmarsh", "picker");
    if (settings.contains("editCommandWindowSize") && settings.contains("editCommandWindowPos")) {
        dialog->resize(settings.value("editCommandWindowSize", QSize(400, 450)).toSize());
        dialog->move(settings.value("editCommandWindowPos", QPoint(50, 50)).toPoint());
    }
    int result = dialog->exec();
    if (!dialog)
        return false;
    settings.setValue("editCommandWindowSize", dialog->size());
    settings.setValue("editCommandWindowPos", dialog->pos());
    bool accepted = result == QDialog::Accepted && dialog->view;
    if (accepted)
        dialog->update_button();
    delete dialog.data();
    return accepted;
}
