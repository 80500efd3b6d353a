// The host as its users see it: each call goes to the part that does the
// job, and the events a change causes are fired here.
#include "host_private.h"

#include <QApplication>
#include <QEvent>

namespace sandbox {

namespace {

// Maya runs callbacks in the middle of its own work (a file half loaded, a
// selection changing): a dialog that waits for the user there is an error.
class dialog_watch : public QObject {
public:
    dialog_watch(host& h, QObject* parent) : QObject(parent), host_(h) {}

    bool eventFilter(QObject* watched, QEvent* e) override
    {
        if (e->type() != QEvent::Show || !watched->isWidgetType())
            return false;
        auto* w = static_cast<QWidget*>(watched);
        const QStringList& firing = host_.data().firing;
        if (w->isWindow() && w->isModal() && !firing.isEmpty())
            host_.log(log_kind::error, QString("a modal dialog (\"%1\") opened inside a %2 callback, where Maya "
                                               "may be in the middle of loading a file.")
                                           .arg(w->windowTitle(), firing.last()));
        return false;
    }

private:
    host& host_;
};

} // namespace

host& host::instance()
{
    static host* the_host = new host; // outlives every plug-in and static destructor
    return *the_host;
}

host::host() : d(new impl)
{
    d->interp.on_print = [this](const QString& t) { log(log_kind::print, t); };
    d->interp.on_error = [this](const QString& t) { log(log_kind::error, t); };
    d->interp.on_warning = [this](const QString& t) { log(log_kind::warning, t); };
    install_builtin_commands(*this, d->interp);
    install_undo_commands(*this, d->interp);
    install_workspace_commands(*this, d->interp);
}

host::~host() = default;

host::impl& host::data()
{
    return *d;
}

void host::reset()
{
    d->scene.reset();
    d->idle.clear();
    d->faults.clear();
    d->log.clear();
    d->batch = false;
    d->undo.reset();
    kill_script_jobs(*this);
}

// ----- MEL and Python

mel::interpreter& host::interpreter()
{
    return d->interp;
}

bool host::execute(const QString& text, mel::value* result, bool echo)
{
    if (echo)
        log(log_kind::echo, text);
    mel::value value;
    bool ok = d->interp.eval(text, &value);
    if (echo && ok && !value.is_none())
        log(log_kind::result, value.result_text());
    if (result)
        *result = value;
    return ok;
}

bool host::execute_python(const QString& text, mel::value* result, bool echo, const QString& file)
{
    if (echo)
        log(log_kind::python, text);
    mel::value value;
    const bool ok = run_python(*this, text, file, &value);
    if (echo && ok && !value.is_none())
        log(log_kind::result, value.result_text());
    if (result)
        *result = value;
    return ok;
}

bool host::python_started() const
{
    return python_running();
}

// ----- Script output

void host::log(log_kind kind, const QString& text)
{
    const log_entry* entry = d->log.append(kind, text);
    if (entry && on_output)
        on_output(*entry);
}

const QVector<log_entry>& host::output() const
{
    return d->log.entries();
}

QString host::output_text() const
{
    return d->log.text();
}

void host::clear_output()
{
    d->log.clear();
}

int host::error_count() const
{
    return d->log.errors();
}

// ----- Idle queue

void host::queue_idle(const QString& text, bool python, bool display)
{
    d->idle.push({text, python, display});
    if (on_idle_queued && !d->idle.draining())
        on_idle_queued();
}

int host::idle_pending() const
{
    return d->idle.size();
}

QStringList host::idle_texts() const
{
    return d->idle.texts();
}

int host::drain_idle()
{
    auto run = [this](const idle_item& item) {
        if (item.action) {
            item.action();
        } else if (item.python) {
            // Idle Python is always shown, so what a button ran can be followed.
            if (!item.display)
                log(log_kind::python, item.text);
            execute_python(item.text, nullptr, item.display);
        } else {
            execute(item.text, nullptr, item.display);
        }
    };
    auto overflow = [this](int left) {
        // Dropped runs of attribute jobs must not keep them from queuing again.
        for (const auto& job : d->jobs.jobs)
            job->pending = false;
        log(log_kind::error, QString("Idle queue stopped after %1 commands; %2 queued commands dropped.")
                                 .arg(max_idle_drain)
                                 .arg(left));
    };
    return d->idle.drain(max_idle_drain, run, overflow);
}

// ----- Events

bool host::is_known_event(const QString& event) const
{
    return event_bus::is_known(event);
}

std::uintptr_t host::add_callback(const QString& event, void (*fn)(void*), void* data)
{
    // A module's function is its own wherever it is added from; code linked
    // into the process belongs to the plug-in whose code is running.
    QString owner = d->plugins.module_of(reinterpret_cast<const void*>(fn));
    if (owner.isEmpty() && !d->plugins.running.isEmpty())
        owner = d->plugins.running.last();
    return d->events.add(event, fn, data, owner);
}

bool host::remove_callback(std::uintptr_t id)
{
    return d->events.remove(id);
}

void host::fire(const QString& event)
{
    if (!d->dialog_watch && qobject_cast<QApplication*>(QCoreApplication::instance())) {
        d->dialog_watch = new dialog_watch(*this, QCoreApplication::instance());
        QCoreApplication::instance()->installEventFilter(d->dialog_watch);
    }
    d->firing.append(event_bus::display_name(event));
    d->events.fire(event, [this](const callback_record& c) {
        plugin_scope scope(d->plugins, c.owner);
        c.fn(c.data);
    });
    d->firing.removeLast();
}

int host::callback_count(const QString& event) const
{
    return d->events.count(event);
}

// ----- Scene: nodes

QString host::create_node(const QString& type, const QString& name, QString* error, const QString& parent)
{
    return d->scene.create_node(type, name, parent, error);
}

bool host::parent_node(const QString& child, const QString& parent, QString* error, QString* now)
{
    return d->scene.parent_node(child, parent, error, now);
}

bool host::delete_node(const QString& name, QString* error)
{
    bool selection_changed = false;
    if (!d->scene.delete_node(name, &selection_changed, error))
        return false;
    kill_orphaned_attribute_jobs(*this);
    if (selection_changed)
        fire("SelectionChanged");
    return true;
}

bool host::node_exists(const QString& name) const
{
    return d->scene.node_exists(name);
}

QString host::node_type(const QString& name) const
{
    return d->scene.node_type(name);
}

QStringList host::nodes(bool long_names) const
{
    return d->scene.nodes(long_names);
}

QString host::long_name(const QString& name, QString* error) const
{
    return d->scene.long_name(name, error);
}

bool host::set_attribute(const QString& plug, const QVector<double>& values, QString* error)
{
    QStringList changed;
    if (!d->scene.set_attribute(plug, values, error, &changed))
        return false;
    if (!d->scene.loading)
        for (const QString& p : std::as_const(changed))
            notify_attribute_change(*this, p);
    return true;
}

bool host::get_attribute(const QString& plug, QVector<double>* values, QString* error) const
{
    return d->scene.get_attribute(plug, values, error);
}

QStringList host::reference_namespaces() const
{
    QStringList out;
    for (const scene_state::reference& r : d->scene.references())
        out.append(r.ns);
    return out;
}

// ----- Scene: namespaces

bool host::add_namespace(const QString& name, const QString& parent, QString* full, QString* error)
{
    return d->scene.add_namespace(name, parent, full, error);
}

bool host::remove_namespace(const QString& name, QString* error)
{
    return d->scene.remove_namespace(name, error);
}

bool host::namespace_exists(const QString& name) const
{
    return d->scene.namespace_exists(name);
}

QStringList host::child_namespaces(const QString& parent) const
{
    return d->scene.child_namespaces(parent);
}

QStringList host::all_namespaces() const
{
    return d->scene.namespaces();
}

QString host::current_namespace() const
{
    return d->scene.current_namespace();
}

bool host::set_current_namespace(const QString& name)
{
    return d->scene.set_current_namespace(name);
}

QString host::resolve_namespace(const QString& name) const
{
    return d->scene.resolve_namespace(name);
}

// ----- Scene: selection

QStringList host::selection(bool long_names) const
{
    return d->scene.selection(long_names);
}

QStringList host::match(const QString& pattern, QString* error, bool long_names) const
{
    return d->scene.match(pattern, error, long_names);
}

QStringList host::list(const QString& pattern, bool long_names) const
{
    return d->scene.list(pattern, long_names);
}

void host::set_selection(const QStringList& items, adjustment how)
{
    if (d->scene.set_selection(items, how))
        fire("SelectionChanged");
}

void host::clear_selection()
{
    set_selection({}, adjustment::replace);
}

// ----- Scene: file info, modified flag, file name

void host::set_file_info(const QString& key, const QString& value)
{
    d->scene.set_file_info(key, value);
}

bool host::file_info(const QString& key, QString* value) const
{
    return d->scene.file_info(key, value);
}

bool host::remove_file_info(const QString& key)
{
    return d->scene.remove_file_info(key);
}

QVector<QPair<QString, QString>> host::file_info_table() const
{
    return d->scene.file_info_table();
}

bool host::modified() const
{
    return d->scene.modified;
}

void host::set_modified(bool on)
{
    d->scene.modified = on;
}

QString host::scene_name() const
{
    return d->scene.file_name;
}

void host::set_scene_name(const QString& path)
{
    d->scene.file_name = path;
}

// ----- Undo queue

int host::undo_steps() const
{
    return d->undo.size();
}

QString host::undo_name() const
{
    return d->undo.undo_name();
}

void host::flush_undo()
{
    d->undo.flush();
}

// ----- Application state

void host::set_batch(bool on)
{
    d->batch = on;
}

bool host::batch() const
{
    return d->batch;
}

void host::set_main_window(QWidget* window)
{
    d->main_window = window;
}

QWidget* host::main_window() const
{
    return d->main_window;
}

// ----- Faults

void host::inject_fault(fault which, int after)
{
    d->faults.arm(which, after);
}

bool host::take_fault(fault which)
{
    return d->faults.take(which);
}

void host::clear_faults()
{
    d->faults.clear();
}

} // namespace sandbox
