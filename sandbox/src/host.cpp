#include "host_private.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextStream>

namespace sandbox {

namespace {

const QStringList known_events = {
    "SelectionChanged", "SceneOpened", "NewSceneOpened", "deleteAll", "quitApplication",
    "SceneSaved", "idle"};

const QStringList permanent_namespaces = {"UI", "shared"};

// Maya names: letters, digits and '_', not starting with a digit.
bool is_valid_short_name(const QString& name)
{
    if (name.isEmpty() || name[0].isDigit())
        return false;
    for (QChar c : name)
        if (!(c.isLetterOrNumber() || c == '_') || c.unicode() > 127)
            return false;
    return true;
}

QString strip_root(const QString& name)
{
    return name.startsWith(':') ? name.mid(1) : name;
}

QRegularExpression wildcard(const QString& pattern)
{
    QString rx;
    for (QChar c : pattern) {
        if (c == '*')
            rx += "[^:]*";
        else if (c == '?')
            rx += "[^:]";
        else
            rx += QRegularExpression::escape(QString(c));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(rx));
}

} // namespace

QString log_entry::formatted() const
{
    switch (kind) {
    case log_kind::print:
    case log_kind::info:
    case log_kind::echo:
        return text;
    case log_kind::warning:
        return "// Warning: " + text;
    case log_kind::error:
        return "// Error: " + text;
    case log_kind::result:
        return "// Result: " + text + " //";
    case log_kind::python:
        return "# python: " + text;
    }
    return text;
}

QString mel_quote(const QString& text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += '"';
    for (QChar c : text) {
        switch (c.unicode()) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        default: out += c;
        }
    }
    out += '"';
    return out;
}

void host::impl::reset_scene()
{
    node_order.clear();
    node_types.clear();
    namespaces = permanent_namespaces;
    current_namespace.clear();
    selection.clear();
    file_info.clear();
    modified = false;
    scene_name.clear();
    linear_unit = "centimeter";
    angle_unit = "degree";
    time_unit = "film";
}

host& host::instance()
{
    static host* the_host = new host; // outlives every plug-in and static destructor
    return *the_host;
}

host::host() : d(new impl)
{
    d->reset_scene();
    d->interp.on_print = [this](const QString& t) { log(log_kind::print, t); };
    d->interp.on_error = [this](const QString& t) { log(log_kind::error, t); };
    d->interp.on_warning = [this](const QString& t) { log(log_kind::warning, t); };
    install_builtin_commands(*this, d->interp);
}

host::~host() = default;

host::impl& host::data()
{
    return *d;
}

void host::reset()
{
    d->reset_scene();
    d->idle.clear();
    d->faults.clear();
    d->output.clear();
    d->errors = 0;
    d->batch = false;
}

// ----- MEL

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

// ----- Script output

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

void host::log(log_kind kind, const QString& text)
{
    if (kind == log_kind::error) {
        ++d->errors_reported;
        // A command that Python runs hands its error to the exception it raises.
        if (d->error_capture) {
            d->error_capture->append(text);
            return;
        }
    }
    d->output.append({kind, text});
    if (kind == log_kind::error)
        ++d->errors;
    if (on_output)
        on_output(d->output.last());
}

const QVector<log_entry>& host::output() const
{
    return d->output;
}

QString host::output_text() const
{
    QStringList lines;
    for (const log_entry& e : d->output)
        lines << e.formatted();
    return lines.join('\n');
}

void host::clear_output()
{
    d->output.clear();
    d->errors = 0;
}

int host::error_count() const
{
    return d->errors;
}

// ----- Idle queue

void host::queue_idle(const QString& text, bool python, bool display)
{
    d->idle.append({text, python, display});
    if (on_idle_queued && !d->draining)
        on_idle_queued();
}

int host::idle_pending() const
{
    return d->idle.size();
}

QStringList host::idle_texts() const
{
    QStringList texts;
    for (const idle_item& item : d->idle)
        texts << item.text;
    return texts;
}

int host::drain_idle()
{
    if (d->draining)
        return 0; // a nested drain would reorder the queue
    d->draining = true;
    int ran = 0;
    while (!d->idle.isEmpty()) {
        if (ran == max_idle_drain) {
            log(log_kind::error,
                QString("Idle queue stopped after %1 commands; %2 queued commands dropped.")
                    .arg(max_idle_drain)
                    .arg(d->idle.size()));
            d->idle.clear();
            break;
        }
        idle_item item = d->idle.takeFirst();
        ++ran;
        if (item.python) {
            // Idle Python is always shown, so what a button ran can be followed.
            if (!item.display)
                log(log_kind::python, item.text);
            execute_python(item.text, nullptr, item.display);
        } else {
            execute(item.text, nullptr, item.display);
        }
    }
    d->draining = false;
    return ran;
}

// ----- Events

bool host::is_known_event(const QString& event) const
{
    return known_events.contains(event);
}

std::uintptr_t host::add_callback(const QString& event, void (*fn)(void*), void* data)
{
    if (!(is_known_event(event) || event.startsWith("scene:")) || !fn)
        return 0;
    std::uintptr_t id = d->next_callback_id++;
    d->callbacks.append({id, event, fn, data});
    return id;
}

bool host::remove_callback(std::uintptr_t id)
{
    for (int i = 0; i < d->callbacks.size(); ++i) {
        if (d->callbacks[i].id == id) {
            d->callbacks.remove(i);
            return true;
        }
    }
    return false;
}

void host::fire(const QString& event)
{
    // A callback may add or remove callbacks: walk a snapshot of the ids and
    // skip the ones gone by the time their turn comes.
    QVector<std::uintptr_t> ids;
    for (const callback_record& c : d->callbacks)
        if (c.event == event)
            ids.append(c.id);
    for (std::uintptr_t id : ids) {
        for (const callback_record& c : d->callbacks) {
            if (c.id == id) {
                auto fn = c.fn;
                void* data = c.data;
                fn(data);
                break;
            }
        }
    }
}

int host::callback_count(const QString& event) const
{
    int n = 0;
    for (const callback_record& c : d->callbacks)
        n += c.event == event;
    return n;
}

// ----- Nodes

QString host::create_node(const QString& type, const QString& name, QString* error)
{
    QString full = strip_root(name);
    if (full.isEmpty())
        full = type + "1";
    QString ns;
    QString shortName = full;
    int colon = full.lastIndexOf(':');
    if (colon >= 0) {
        ns = full.left(colon);
        shortName = full.mid(colon + 1);
    } else if (!d->current_namespace.isEmpty()) {
        ns = d->current_namespace;
    }
    if (!ns.isEmpty() && !namespace_exists(ns)) {
        if (error)
            *error = QString("Namespace \"%1\" does not exist.").arg(ns);
        return QString();
    }
    // Maya turns characters a name may not hold into underscores.
    for (QChar& c : shortName)
        if (!(c.isLetterOrNumber() || c == '_') || c.unicode() > 127)
            c = '_';
    if (shortName.isEmpty() || shortName[0].isDigit())
        shortName.prepend('_');
    QString prefix = ns.isEmpty() ? QString() : ns + ':';
    QString candidate = prefix + shortName;
    if (d->node_types.contains(candidate)) {
        QString base = shortName;
        while (!base.isEmpty() && base.back().isDigit())
            base.chop(1);
        for (int n = 1;; ++n) {
            candidate = prefix + base + QString::number(n);
            if (!d->node_types.contains(candidate))
                break;
        }
    }
    d->node_order.append(candidate);
    d->node_types.insert(candidate, type);
    return candidate;
}

bool host::delete_node(const QString& name)
{
    QString full = strip_root(name);
    if (!d->node_types.remove(full))
        return false;
    d->node_order.removeOne(full);
    QStringList kept;
    for (const QString& item : d->selection)
        if (item != full && !item.startsWith(full + '.'))
            kept.append(item);
    if (kept != d->selection) {
        d->selection = kept;
        fire("SelectionChanged");
    }
    return true;
}

bool host::node_exists(const QString& name) const
{
    return d->node_types.contains(strip_root(name));
}

QString host::node_type(const QString& name) const
{
    return d->node_types.value(strip_root(name));
}

QStringList host::nodes() const
{
    return d->node_order;
}

// ----- Namespaces

QString host::resolve_namespace(const QString& name) const
{
    if (name == ":" || name.isEmpty())
        return QString();
    if (name.startsWith(':'))
        return name.mid(1);
    return d->current_namespace.isEmpty() ? name : d->current_namespace + ':' + name;
}

bool host::add_namespace(const QString& name, const QString& parent, QString* full, QString* error)
{
    QString base = parent.isNull() ? d->current_namespace : resolve_namespace(parent);
    if (!base.isEmpty() && !namespace_exists(base)) {
        if (error)
            *error = QString("Namespace \"%1\" does not exist.").arg(base);
        return false;
    }
    QString rel = strip_root(name);
    if (name.startsWith(':'))
        base.clear();
    const QStringList parts = rel.split(':');
    for (const QString& part : parts) {
        if (!is_valid_short_name(part)) {
            if (error)
                *error = QString("Illegal namespace name \"%1\".").arg(name);
            return false;
        }
    }
    QString path = base;
    for (int i = 0; i < parts.size(); ++i) {
        path = path.isEmpty() ? parts[i] : path + ':' + parts[i];
        bool last = i == parts.size() - 1;
        if (namespace_exists(path)) {
            if (last) {
                if (error)
                    *error = QString("Namespace \"%1\" already exists.").arg(path);
                return false;
            }
        } else if (!last) {
            if (error)
                *error = QString("Namespace \"%1\" does not exist.").arg(path);
            return false;
        }
    }
    d->namespaces.append(path);
    if (full)
        *full = path;
    return true;
}

bool host::remove_namespace(const QString& name, QString* error)
{
    QString full = resolve_namespace(name);
    if (permanent_namespaces.contains(full) || !namespace_exists(full)) {
        if (error)
            *error = QString("Namespace \"%1\" cannot be removed.").arg(name);
        return false;
    }
    for (const QString& ns : d->namespaces)
        if (ns.startsWith(full + ':')) {
            if (error)
                *error = QString("Namespace \"%1\" is not empty.").arg(name);
            return false;
        }
    for (const QString& node : d->node_order)
        if (node.startsWith(full + ':')) {
            if (error)
                *error = QString("Namespace \"%1\" is not empty.").arg(name);
            return false;
        }
    d->namespaces.removeOne(full);
    if (d->current_namespace == full || d->current_namespace.startsWith(full + ':'))
        d->current_namespace.clear();
    return true;
}

bool host::namespace_exists(const QString& name) const
{
    QString full = strip_root(name);
    return full.isEmpty() || d->namespaces.contains(full);
}

QStringList host::child_namespaces(const QString& parent) const
{
    QString base = strip_root(parent);
    QStringList out;
    for (const QString& ns : d->namespaces) {
        int colon = ns.lastIndexOf(':');
        QString owner = colon < 0 ? QString() : ns.left(colon);
        if (owner == base)
            out.append(ns);
    }
    return out;
}

QStringList host::all_namespaces() const
{
    return d->namespaces;
}

QString host::current_namespace() const
{
    return d->current_namespace;
}

bool host::set_current_namespace(const QString& name)
{
    QString full = resolve_namespace(name);
    if (!namespace_exists(full))
        return false;
    d->current_namespace = full;
    return true;
}

// ----- Selection

QStringList host::selection() const
{
    return d->selection;
}

QStringList host::match(const QString& pattern) const
{
    QString p = strip_root(pattern.trimmed());
    if (p.isEmpty())
        return {};
    int dot = p.indexOf('.');
    if (dot >= 0) {
        // A component or attribute of a node: the node must exist.
        QString node = p.left(dot);
        if (node.contains('*') || node.contains('?') || !node_exists(node) || dot == p.size() - 1)
            return {};
        return {p};
    }
    if (!p.contains('*') && !p.contains('?'))
        return node_exists(p) ? QStringList{p} : QStringList{};
    QRegularExpression rx = wildcard(p);
    QStringList out;
    for (const QString& node : d->node_order)
        if (rx.match(node).hasMatch())
            out.append(node);
    return out;
}

void host::set_selection(const QStringList& items, adjustment how)
{
    QStringList next = d->selection;
    switch (how) {
    case adjustment::replace:
        next.clear();
        for (const QString& item : items)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add:
        for (const QString& item : items)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add_to_head: {
        QStringList head;
        for (const QString& item : items)
            if (!head.contains(item))
                head.append(item);
        for (const QString& item : next)
            if (!head.contains(item))
                head.append(item);
        next = head;
        break;
    }
    case adjustment::remove:
        for (const QString& item : items)
            next.removeAll(item);
        break;
    case adjustment::toggle:
        for (const QString& item : items) {
            if (next.contains(item))
                next.removeAll(item);
            else
                next.append(item);
        }
        break;
    }
    if (next == d->selection)
        return;
    d->selection = next;
    fire("SelectionChanged");
}

void host::clear_selection()
{
    set_selection({}, adjustment::replace);
}

// ----- File info and scene file

void host::set_file_info(const QString& key, const QString& value)
{
    for (auto& entry : d->file_info) {
        if (entry.first == key) {
            entry.second = value;
            return;
        }
    }
    d->file_info.append({key, value});
}

bool host::file_info(const QString& key, QString* value) const
{
    for (const auto& entry : d->file_info) {
        if (entry.first == key) {
            if (value)
                *value = entry.second;
            return true;
        }
    }
    return false;
}

bool host::remove_file_info(const QString& key)
{
    for (int i = 0; i < d->file_info.size(); ++i) {
        if (d->file_info[i].first == key) {
            d->file_info.remove(i);
            return true;
        }
    }
    return false;
}

QVector<QPair<QString, QString>> host::file_info_table() const
{
    return d->file_info;
}

bool host::modified() const
{
    return d->modified;
}

void host::set_modified(bool on)
{
    d->modified = on;
}

QString host::scene_name() const
{
    return d->scene_name;
}

void host::set_scene_name(const QString& path)
{
    d->scene_name = path;
}

void host::new_scene()
{
    fire(scene_events::before_new);
    fire("deleteAll");
    d->reset_scene();
    fire("NewSceneOpened");
    fire(scene_events::after_new);
}

bool host::open_scene(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QString("Could not open file \"%1\": %2").arg(path, file.errorString());
        return false;
    }
    const QString text = QString::fromUtf8(file.readAll());
    fire(scene_events::before_open);
    fire("deleteAll");
    d->reset_scene();
    d->loading = true;
    bool ok = d->interp.eval(text);
    d->loading = false;
    d->current_namespace.clear();
    d->scene_name = QFileInfo(path).absoluteFilePath();
    d->modified = false;
    fire("SceneOpened");
    fire(scene_events::after_open);
    if (!ok && error)
        *error = QString("Errors while reading \"%1\".").arg(path);
    return ok;
}

QString host::scene_text() const
{
    QString name = d->scene_name.isEmpty() ? QString("untitled") : QFileInfo(d->scene_name).fileName();
    QString out;
    QTextStream s(&out);
    s << "//Maya ASCII 2022 scene\n";
    s << "//Name: " << name << "\n";
    s << "//Codeset: UTF-8\n";
    s << "requires maya \"2022\";\n";
    s << "currentUnit -l " << d->linear_unit << " -a " << d->angle_unit << " -t " << d->time_unit
      << ";\n";
    for (const auto& entry : d->file_info)
        s << "fileInfo " << mel_quote(entry.first) << " " << mel_quote(entry.second) << ";\n";
    for (const QString& ns : d->namespaces) {
        if (permanent_namespaces.contains(ns))
            continue;
        int colon = ns.lastIndexOf(':');
        if (colon < 0)
            s << "namespace -add " << mel_quote(ns) << ";\n";
        else
            s << "namespace -add " << mel_quote(ns.mid(colon + 1)) << " -parent "
              << mel_quote(':' + ns.left(colon)) << ";\n";
    }
    for (const QString& node : d->node_order)
        s << "createNode " << d->node_types.value(node) << " -n " << mel_quote(node) << ";\n";
    s << "// End of " << name << "\n";
    return out;
}

bool host::save_scene(const QString& path, QString* error)
{
    QString target = path.isEmpty() ? d->scene_name : path;
    if (target.isEmpty()) {
        if (error)
            *error = "The scene has no name yet: save it with a file name.";
        return false;
    }
    QString previous = d->scene_name;
    d->scene_name = QFileInfo(target).absoluteFilePath();
    // What plug-ins keep in the scene goes in before it is written.
    fire(scene_events::before_save);
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = QString("Could not write \"%1\": %2").arg(target, file.errorString());
        d->scene_name = previous;
        return false;
    }
    file.write(scene_text().toUtf8());
    if (!file.commit()) {
        if (error)
            *error = QString("Could not write \"%1\": %2").arg(target, file.errorString());
        d->scene_name = previous;
        return false;
    }
    d->modified = false;
    fire("SceneSaved");
    fire(scene_events::after_save);
    return true;
}

void host::quit()
{
    fire("quitApplication");
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
    d->faults[int(which)] = after;
}

bool host::take_fault(fault which)
{
    auto it = d->faults.find(int(which));
    if (it == d->faults.end())
        return false;
    if (it.value() > 0) {
        --it.value();
        return false;
    }
    d->faults.erase(it);
    return true;
}

void host::clear_faults()
{
    d->faults.clear();
}

} // namespace sandbox
