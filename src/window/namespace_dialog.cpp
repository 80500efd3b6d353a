#include "window/namespace_dialog.h"

#include "edit/rebind_command.h"
#include "model/namespaces.h"
#include "view/picker_view.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>

#include <utility>

picker_editNamespaceDialog::picker_editNamespaceDialog(QWidget* parent, const QStringList& current,
                                                       const QStringList& available)
    : QDialog(parent)
{
    setModal(true);
    setWindowTitle("Choose Namespace");
    auto* outer = new QGridLayout;
    outer->addWidget(new QLabel("Change Current Namespace to:"), 0, 0, 1, 2);

    auto* rows = new QGridLayout;
    rows->setContentsMargins(5, 3, 5, 3);
    rows->setVerticalSpacing(2);
    for (int row = 0; row < current.size(); ++row) {
        const QString& ns = current[row];
        // Names come from files and scenes: shown as text, never as markup.
        rows->addWidget(new QLabel(QString("<b>%1</b>").arg(ns.toHtmlEscaped())), row, 0);
        auto* combo = new QComboBox;
        combo->setEditable(true);
        combo->setMinimumWidth(260);
        int i = available.indexOf(ns);
        if (i < 0)
            i = findNestedNamespace(ns, available);
        if (i < 0) {
            // Not in the scene: keeping it is the default.
            combo->addItem(ns);
            combo->addItems(available);
            combo->setCurrentIndex(0);
        } else {
            combo->addItems(available);
            combo->setCurrentIndex(i);
        }
        rows->addWidget(combo, row, 1);
        records.append({ns, combo});
    }
    outer->addLayout(rows, 1, 0, 1, 2);
    outer->setRowMinimumHeight(2, 14);

    auto* ok = new QPushButton("OK");
    auto* cancel = new QPushButton("Cancel");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    outer->addLayout(buttons, 3, 0, 1, 2);
    setLayout(outer);
    connect(ok, SIGNAL(clicked(bool)), this, SLOT(accept()));
    connect(cancel, SIGNAL(clicked(bool)), this, SLOT(reject()));

    // A typed choice ends up in names and scripts: OK waits for a real
    // namespace (a row left as it is changes nothing and is always fine).
    auto check = [this, ok] {
        bool valid = true;
        for (const nsPairRecord& record : std::as_const(records))
            if (record.choice->currentText() != record.ns && !is_valid_namespace(record.choice->currentText()))
                valid = false;
        ok->setEnabled(valid);
    };
    for (const nsPairRecord& record : std::as_const(records))
        connect(record.choice, &QComboBox::editTextChanged, this, check);
    check();
}

void picker_editNamespaceDialog::choice(QStringList& from, QStringList& to) const
{
    for (const nsPairRecord& record : records) {
        const QString chosen = record.choice->currentText();
        if (chosen != record.ns && is_valid_namespace(chosen))
            add_namespace_pair(from, to, record.ns, chosen);
    }
}

bool picker_editNamespaceDialog::do_dialog(picker_view* view, const QStringList& current,
                                           const QStringList& available)
{
    // A script run while the dialog is up may take the view, and the dialog
    // with it.
    QPointer<picker_view> target(view);
    QPointer<picker_editNamespaceDialog> dialog(new picker_editNamespaceDialog(view, current, available));
    const bool accepted = dialog->exec() == QDialog::Accepted;
    if (!dialog || !target) {
        delete dialog.data();
        return false;
    }
    QStringList from, to;
    dialog->choice(from, to);
    delete dialog.data();
    if (!accepted)
        return false;
    // A row left as it is follows its parent's choice: rig:sub goes with rig.
    rebind_view(view, from, to);
    return true;
}
