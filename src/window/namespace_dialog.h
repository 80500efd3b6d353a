// Lets the user choose, for each namespace a picker uses, the scene
// namespace it should use instead, and rewrites the picker's buttons.
#pragma once

#include <QDialog>
#include <QList>
#include <QString>
#include <QStringList>

class QComboBox;
class picker_view;

class picker_editNamespaceDialog : public QDialog {
public:
    picker_editNamespaceDialog(QWidget* parent, const QStringList& current, const QStringList& available);
    // True when the user pressed OK; the buttons are then rewritten as one
    // undo step on the view's stack.
    static bool do_dialog(picker_view* view, const QStringList& current, const QStringList& available);
    // The rows the user changed, as old and new namespaces (root ":").
    void choice(QStringList& from, QStringList& to) const;

    struct nsPairRecord {
        QString ns;
        QComboBox* choice;
    };
    const QList<nsPairRecord>& pairs() const { return records; }

private:
    QList<nsPairRecord> records;
};
