#include "window/namespace_dialog.h"

#include "view/namespace_binding.h"
#include "view/picker_view.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

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
        rows->addWidget(new QLabel(QString("<b>%1</b>").arg(ns)), row, 0);
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
}

bool picker_editNamespaceDialog::do_dialog(picker_view* view, const QStringList& current,
                                           const QStringList& available)
{
    picker_editNamespaceDialog dialog(view, current, available);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    QStringList from, to;
    for (const nsPairRecord& record : dialog.records) {
        QString old = record.ns;
        QString chosen = record.choice->currentText();
        if (!old.endsWith(':'))
            old += ':';
        // An empty choice means the root: the prefix goes.
        if (!chosen.isEmpty() && !chosen.endsWith(':'))
            chosen += ':';
        if (old != chosen) {
            from << old;
            to << chosen;
        }
    }
    if (from.isEmpty() || !view || view->buttons.isEmpty())
        return true;
    for (buttonRecord& r : view->buttons) {
        if (r.kind == 1)
            rebind_cmd_button(r, from, to);
        else if (r.kind == 0)
            rebind_picker_button(r, from, to);
    }
    // The new names may be selected already, and the scene keeps a copy.
    view->conform_to_selection();
    view->refresh();
    view->signal_changed();
    return true;
}
