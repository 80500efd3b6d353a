// Following the animator's selection in the host across several copies of
// a character: the tab driving the selected character comes to the front,
// or a picker that fits it is rebound to it.
#include "edit/rebind_command.h"
#include "model/characters.h"
#include "model/picker_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QSettings>
#include <QTabWidget>

namespace {

const char* const follow_key = "followSelection";

} // namespace

bool picker_window::follow_setting()
{
    return QSettings("Quillmarsh", "picker").value(follow_key, false).toBool();
}

void picker_window::store_follow_setting(bool on)
{
    QSettings("Quillmarsh", "picker").setValue(follow_key, on);
}

void picker_window::set_follow_selection(bool on)
{
    if (followAction && followAction->isChecked() != on)
        followAction->setChecked(on); // comes back here through toggled
    if (following == on)
        return;
    following = on;
    followMiss.clear();
    store_follow_setting(on);
}

bool picker_window::editing() const
{
    if (QApplication::activeModalWidget() || QApplication::activePopupWidget())
        return true;
    if (labelEdit && labelEdit->hasFocus())
        return true;
    for (int i = 0; i < tabWidget->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(tabWidget->widget(i)))
            if (view->mouseCommand())
                return true; // a drag, or Add Many Buttons waiting for its place
    // Control over the canvas is the picker's edit mode; held elsewhere it
    // is the host's add-to-selection.
    const picker_view* front = frontPicker();
    return front && front->underMouse() && (QApplication::keyboardModifiers() & Qt::ControlModifier);
}

void picker_window::follow(const QStringList& names)
{
    if (!following || tabWidget->count() == 0 || editing())
        return;
    const QString node = selection_node(names);
    const QString ns = node_namespace(node);
    if (ns.isEmpty())
        return;
    const QVector<const picker_page*> all = pages();
    QVector<quint64> stamps;
    for (const picker_page* page : all)
        stamps << page->binding_stamp();
    stamps << quint64(book_->current());
    // Asking the host which names exist is the costly part; a namespace no
    // tab fitted is not asked about again until a picker's names change.
    if (node == followMiss && stamps == followMissStamps)
        return;
    const follow_step step = plan_follow(
        all, book_->current(), ns,
        [](const QStringList& sample) { return picker_host::instance().missing_objects(sample); }, node);
    if (step.what == follow_step::stay) {
        followMiss = node;
        followMissStamps = stamps;
        return;
    }
    followMiss.clear();
    picker_page* page = book_->page(step.page);
    picker_view* view = view_of(page);
    if (!view)
        return;
    if (step.what == follow_step::rebind) {
        QStringList from, to;
        if (!namespace_move(*page, {step.to}, &from, &to, nullptr) || !rebind_view(view, from, to))
            return;
    }
    followingNow = true;
    tabWidget->setCurrentWidget(view);
    followingNow = false;
}
