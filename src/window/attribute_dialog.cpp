#include "window/attribute_dialog.h"

#include "model/picker_host.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

namespace {

const char* const widget_words[attribute_widget_count] = {"Slider", "Two-Axis Slider", "Switch"};

QString number_text(double v)
{
    return QString::number(v, 'g', 15);
}

} // namespace

attribute_dialog::attribute_dialog(QWidget* parent, const buttonAttributes& start) : QDialog(parent), attrs(start)
{
    setModal(true);
    setWindowTitle(start.names.isEmpty() ? "Add Attribute Button" : "Edit Attribute Button");
    labelEdit = new QLineEdit(start.label);
    labelEdit->setObjectName("label");
    labelEdit->setMaxLength(128);
    widgetBox = new QComboBox;
    widgetBox->setObjectName("widget");
    for (const char* word : widget_words)
        widgetBox->addItem(word);
    widgetBox->setCurrentIndex(start.widget);

    auto* grid = new QGridLayout(this);
    grid->addWidget(new QLabel("Label:"), 0, 0);
    grid->addWidget(labelEdit, 0, 1, 1, 5);
    grid->addWidget(new QLabel("Widget:"), 1, 0);
    grid->addWidget(widgetBox, 1, 1, 1, 5);
    for (int i = 0; i < 2; ++i) {
        plugEdit[i] = new QLineEdit(start.names.value(i));
        plugEdit[i]->setObjectName(i ? "attribute2" : "attribute");
        plugEdit[i]->setPlaceholderText("node.attribute");
        plugEdit[i]->setMinimumWidth(200);
        // Empty ends take the attribute's own range.
        const bool set = i < start.names.size();
        minimumEdit[i] = new QLineEdit(set ? number_text(start.minimum[i]) : QString());
        maximumEdit[i] = new QLineEdit(set ? number_text(start.maximum[i]) : QString());
        minimumEdit[i]->setObjectName(i ? "minimum2" : "minimum");
        maximumEdit[i]->setObjectName(i ? "maximum2" : "maximum");
        for (QLineEdit* end : {minimumEdit[i], maximumEdit[i]}) {
            end->setPlaceholderText("own");
            end->setMaximumWidth(80);
        }
        grid->addWidget(new QLabel(i ? "Y attribute:" : "Attribute:"), 2 + i, 0);
        grid->addWidget(plugEdit[i], 2 + i, 1);
        grid->addWidget(new QLabel("from"), 2 + i, 2);
        grid->addWidget(minimumEdit[i], 2 + i, 3);
        grid->addWidget(new QLabel("to"), 2 + i, 4);
        grid->addWidget(maximumEdit[i], 2 + i, 5);
    }
    problem = new QLabel;
    problem->setObjectName("problem");
    problem->setWordWrap(true);
    problem->setStyleSheet("color: #e04040");
    grid->addWidget(problem, 4, 0, 1, 6);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    grid->addWidget(buttons, 5, 0, 1, 6);
    connect(buttons, &QDialogButtonBox::accepted, this, &attribute_dialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &attribute_dialog::reject);
    connect(widgetBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &attribute_dialog::widget_changed);
    widget_changed();
}

void attribute_dialog::widget_changed()
{
    const bool pad = widgetBox->currentIndex() == qint32(attribute_widget::slider2d);
    for (QWidget* w : {static_cast<QWidget*>(plugEdit[1]), static_cast<QWidget*>(minimumEdit[1]),
                       static_cast<QWidget*>(maximumEdit[1])})
        w->setEnabled(pad);
}

// Checked as the directive checks: the dialog closes only on a button the
// host can drive, and says what is wrong otherwise.
void attribute_dialog::accept()
{
    buttonAttributes a = attrs;
    const bool made = attrs.names.isEmpty();
    a.kind = attribute_kind;
    a.language = 0;
    a.label = labelEdit->text();
    a.widget = widgetBox->currentIndex();
    a.names.clear();
    QString why;
    for (int i = 0; i < widget_plugs(a.widget) && why.isEmpty(); ++i) {
        const QString plug = plugEdit[i]->text().trimmed();
        const attribute_facts facts =
            is_plug_name(plug) ? picker_host::instance().attribute_facts_of(plug) : attribute_facts();
        why = settable_problem(plug, facts);
        const QString low = minimumEdit[i]->text().trimmed(), high = maximumEdit[i]->text().trimmed();
        double given[2] = {0, 0};
        bool ok[2] = {true, true};
        if (why.isEmpty() && (!low.isEmpty() || !high.isEmpty())) {
            given[0] = low.toDouble(&ok[0]);
            given[1] = high.toDouble(&ok[1]);
            if (!ok[0] || !ok[1])
                why = QString("the range of %1 must be two numbers, or left empty for its own").arg(plug);
        }
        if (why.isEmpty())
            why = widget_range(plug, facts, low.isEmpty() && high.isEmpty() ? nullptr : given, a.minimum[i],
                               a.maximum[i]);
        a.names << plug;
    }
    if (!why.isEmpty()) {
        problem->setText(why.at(0).toUpper() + why.mid(1) + '.');
        return;
    }
    // A new button is sized for its widget; an edited one keeps its size.
    if (made) {
        const button_look look = attribute_look(a.widget);
        a.size = a.width = look.width;
        a.height = look.height;
    }
    attrs = a;
    QDialog::accept();
}

bool attribute_dialog::do_dialog(QWidget* parent, buttonAttributes* a)
{
    QPointer<attribute_dialog> dialog = new attribute_dialog(parent, *a);
    const bool accepted = dialog->exec() == QDialog::Accepted && dialog;
    if (accepted)
        *a = dialog->result();
    delete dialog;
    return accepted;
}
