// Maya's workspace controls: the named widgets tool windows live in, floating
// or docked into the main window, refilled by their uiScript when the saved
// workspace comes back in a new session.
#include "host_private.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QEvent>
#include <QMainWindow>
#include <QMap>
#include <QVBoxLayout>

namespace sandbox {

namespace {

class workspace_control : public QDockWidget {
public:
    workspace_control(host& h, const QString& name) : h_(h)
    {
        setObjectName(name);
        setWindowTitle(name);
        auto* content = new QWidget;
        auto* layout = new QVBoxLayout(content);
        layout->setContentsMargins(0, 0, 0, 0);
        setWidget(content);
        setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable |
                    QDockWidget::DockWidgetFloatable);
        // Maya docks a control when it is dragged onto a panel's edge or
        // told to, never on a double-click of its title, and its title
        // has no float button.
        installEventFilter(this);
        if (QWidget* button = findChild<QWidget*>("qt_dockwidget_floatbutton")) {
            button->installEventFilter(this);
            button->hide();
        }
    }

    QString owner;      // the plug-in that made it; empty for a user's
    QString ui_script;
    QString close_command;
    bool retain = true;
    // Emptied by a new session while closed: refilled when shown again.
    bool needs_ui = false;

    QWidget* content() const { return widget(); }

    void run_ui_script()
    {
        needs_ui = false;
        if (!ui_script.isEmpty())
            h_.execute(ui_script);
    }

    void open()
    {
        show();
        raise();
        if (needs_ui)
            run_ui_script();
    }

    // What a new session shows before any uiScript ran: the control, empty.
    void empty()
    {
        const QList<QWidget*> built = content()->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
        for (QWidget* w : built)
            delete w;
    }

protected:
    bool eventFilter(QObject* watched, QEvent* e) override
    {
        if (watched == this)
            return e->type() == QEvent::MouseButtonDblClick || e->type() == QEvent::NonClientAreaMouseButtonDblClick;
        // The dock shows its float button again whenever it lays out its title.
        if (e->type() == QEvent::Show)
            QMetaObject::invokeMethod(static_cast<QWidget*>(watched), "hide", Qt::QueuedConnection);
        return e->type() == QEvent::MouseButtonPress || e->type() == QEvent::MouseButtonRelease ||
               e->type() == QEvent::MouseButtonDblClick;
    }

    void closeEvent(QCloseEvent* e) override;

private:
    host& h_;
};

// By name.
QMap<QString, QPointer<workspace_control>>& controls()
{
    static QMap<QString, QPointer<workspace_control>> all;
    return all;
}

workspace_control* find(const QString& name)
{
    auto it = controls().find(name);
    if (it == controls().end())
        return nullptr;
    if (!it.value()) {
        controls().erase(it);
        return nullptr;
    }
    return it.value();
}

void forget(workspace_control* c)
{
    controls().remove(c->objectName());
}

void workspace_control::closeEvent(QCloseEvent* e)
{
    QDockWidget::closeEvent(e);
    if (!e->isAccepted())
        return;
    if (!close_command.isEmpty())
        h_.execute(close_command);
    // A control that is not retained goes with what it holds.
    if (!retain) {
        forget(this);
        deleteLater();
    }
}

using mel::value;
using args_t = QVector<value>;

[[noreturn]] void fail(const QString& command, const QString& message)
{
    throw mel::command_failed{QString("%1: %2").arg(command, message)};
}

struct control_flag {
    const char* long_name;
    const char* short_name;
    int values; // in create and edit mode; none under -q
};

const control_flag control_flags[] = {
    {"checksPlugins", "cp", 1},  {"close", "cl", 0},          {"closeCommand", "cc", 1},
    {"dockToMainWindow", "dtm", 2}, {"exists", "ex", 0},      {"floating", "fl", 1},
    {"heightProperty", "hp", 1}, {"initialHeight", "ih", 1},  {"initialWidth", "iw", 1},
    {"label", "l", 1},           {"raise", "r", 0},           {"requiredPlugin", "rp", 1},
    {"restore", "rs", 0},        {"retain", "rt", 1},         {"uiScript", "ui", 1},
    {"visible", "vis", 1},       {"widthProperty", "wp", 1},
};

const control_flag delete_flags[] = {{"control", "ctl", 0}, {"window", "wnd", 0}, {"layout", "lay", 0}};

template <size_t N>
const control_flag* find_flag(const control_flag (&table)[N], const QString& flag)
{
    for (const control_flag& f : table)
        if (flag == QLatin1String(f.long_name) || flag == QLatin1String(f.short_name))
            return &f;
    return nullptr;
}

struct control_args {
    bool query = false;
    bool edit = false;
    // In the order given: edits apply in that order.
    QVector<QPair<QString, QVector<value>>> flags;
    QStringList names;

    const QVector<value>* get(const char* name) const
    {
        for (const auto& f : flags)
            if (f.first == QLatin1String(name))
                return &f.second;
        return nullptr;
    }
    bool has(const char* name) const { return get(name) != nullptr; }
};

bool is_flag(const value& v)
{
    if (v.type() != value::string)
        return false;
    const QString s = v.to_string();
    return s.size() > 1 && s[0] == '-' && s[1].isLetter();
}

control_args parse_control(const args_t& args)
{
    const char* const command = "workspaceControl";
    control_args out;
    for (int i = 0; i < args.size(); ++i) {
        if (!is_flag(args[i])) {
            out.names += args[i].is_array() ? args[i].to_strings() : QStringList{args[i].to_string()};
            continue;
        }
        const QString flag = args[i].to_string().mid(1);
        if (flag == "q" || flag == "query") {
            out.query = true;
            continue;
        }
        if (flag == "e" || flag == "edit") {
            out.edit = true;
            continue;
        }
        const control_flag* rule = find_flag(control_flags, flag);
        if (!rule)
            fail(command, QString("Invalid flag '-%1'").arg(flag));
        QVector<value> values;
        const int wanted = out.query ? 0 : rule->values;
        // Python hands a flag of two values over as one list.
        if (wanted == 2 && i + 1 < args.size() && args[i + 1].is_array()) {
            for (const QString& item : args[++i].to_strings())
                values.append(value::from_string(item));
        } else {
            for (int k = 0; k < wanted; ++k) {
                if (i + 1 >= args.size())
                    fail(command, QString("Flag '-%1' must be passed a value.").arg(flag));
                values.append(args[++i]);
            }
        }
        if (values.size() != wanted)
            fail(command, QString("Flag '-%1' takes %2 values.").arg(flag).arg(wanted));
        out.flags.append({QLatin1String(rule->long_name), values});
    }
    if (out.query && out.edit)
        fail(command, "Edit and query flags cannot be used together.");
    return out;
}

bool truth(const value& v)
{
    if (v.type() == value::string) {
        const QString s = v.to_string().toLower();
        return s == "true" || s == "on" || s == "yes" || s.toInt() != 0;
    }
    return v.to_int() != 0;
}

Qt::DockWidgetArea area_of(const QString& side)
{
    if (side == "left")
        return Qt::LeftDockWidgetArea;
    if (side == "right")
        return Qt::RightDockWidgetArea;
    if (side == "top")
        return Qt::TopDockWidgetArea;
    if (side == "bottom")
        return Qt::BottomDockWidgetArea;
    fail("workspaceControl", QString("Invalid dock position '%1': use left, right, top or bottom.").arg(side));
}

QMainWindow* main_window_of(host& h)
{
    return qobject_cast<QMainWindow*>(h.main_window());
}

void dock_into_main_window(host& h, workspace_control* c, const QVector<value>& values)
{
    QMainWindow* main = main_window_of(h);
    if (!main)
        fail("workspaceControl", "There is no main window to dock into.");
    const Qt::DockWidgetArea area = area_of(values[0].to_string());
    // With true it joins a control already there as a tab.
    QDockWidget* beside = nullptr;
    if (truth(values[1]))
        for (QDockWidget* other : main->findChildren<QDockWidget*>())
            if (other != c && !other->isFloating() && other->isVisible() && main->dockWidgetArea(other) == area)
                beside = other;
    main->addDockWidget(area, c);
    c->setFloating(false);
    if (beside)
        main->tabifyDockWidget(beside, c);
}

void set_floating(host& h, workspace_control* c, bool on)
{
    if (on) {
        c->setFloating(true);
        return;
    }
    dock_into_main_window(h, c, {value::from_string("right"), value::from_int(0)});
}

value query(workspace_control* c, const control_args& a)
{
    if (a.flags.size() != 1)
        fail("workspaceControl", "Query one flag at a time.");
    const QString& flag = a.flags[0].first;
    if (flag == "visible")
        return value::from_int(c->isHidden() ? 0 : 1);
    if (flag == "floating")
        return value::from_int(c->isFloating() || !c->parentWidget() ? 1 : 0);
    if (flag == "label")
        return value::from_string(c->windowTitle());
    if (flag == "retain")
        return value::from_int(c->retain ? 1 : 0);
    if (flag == "uiScript")
        return value::from_string(c->ui_script);
    if (flag == "closeCommand")
        return value::from_string(c->close_command);
    fail("workspaceControl", QString("Flag '-%1' cannot be queried.").arg(flag));
}

void edit(host& h, workspace_control* c, const control_args& a)
{
    QPointer<workspace_control> alive(c);
    for (const auto& f : a.flags) {
        if (!alive)
            return; // closed for good by an earlier flag
        const QString& flag = f.first;
        if (flag == "label")
            c->setWindowTitle(f.second[0].to_string());
        else if (flag == "closeCommand")
            c->close_command = f.second[0].to_string();
        else if (flag == "uiScript")
            c->ui_script = f.second[0].to_string();
        else if (flag == "floating")
            set_floating(h, c, truth(f.second[0]));
        else if (flag == "dockToMainWindow")
            dock_into_main_window(h, c, f.second);
        else if (flag == "visible")
            truth(f.second[0]) ? c->open() : void(c->close());
        else if (flag == "restore" || flag == "raise")
            c->open();
        else if (flag == "close")
            c->close();
        else if (flag == "retain" || flag == "initialWidth" || flag == "initialHeight" || flag == "exists")
            fail("workspaceControl", QString("Flag '-%1' can only be used when creating.").arg(flag));
        // The rest are hints to Maya's layout that the sandbox has no use for.
    }
}

value create(host& h, const QString& name, const control_args& a)
{
    if (find(name))
        fail("workspaceControl", QString("Object's name '%1' is not unique.").arg(name));
    if (a.has("close") || a.has("restore"))
        fail("workspaceControl", "The -close and -restore flags only work in edit mode.");
    const QVector<value>* script = a.get("uiScript");
    if (!script)
        fail("workspaceControl", "The -uiScript flag is required when creating a workspace control.");
    auto* c = new workspace_control(h, name);
    const QStringList& running = h.data().plugins.running;
    c->owner = running.isEmpty() ? QString() : running.last();
    c->ui_script = (*script)[0].to_string();
    if (const auto* v = a.get("label"))
        c->setWindowTitle((*v)[0].to_string());
    if (const auto* v = a.get("retain"))
        c->retain = truth((*v)[0]);
    if (const auto* v = a.get("closeCommand"))
        c->close_command = (*v)[0].to_string();
    QSize size(c->sizeHint());
    if (const auto* v = a.get("initialWidth"))
        size.setWidth((*v)[0].to_int());
    if (const auto* v = a.get("initialHeight"))
        size.setHeight((*v)[0].to_int());
    controls().insert(name, c);
    if (QMainWindow* main = main_window_of(h))
        main->addDockWidget(Qt::RightDockWidgetArea, c);
    c->setFloating(true);
    c->resize(size);
    try {
        if (const auto* v = a.get("dockToMainWindow"))
            dock_into_main_window(h, c, *v);
        else if (const auto* f = a.get("floating"))
            set_floating(h, c, truth((*f)[0]));
    } catch (...) {
        forget(c);
        delete c;
        throw;
    }
    const auto* visible = a.get("visible");
    if (!visible || truth((*visible)[0]))
        c->show();
    // Maya builds the content at once, with the control there to hold it.
    c->run_ui_script();
    return value::from_string(name);
}

value mel_workspace_control(host& h, const args_t& args)
{
    if (h.batch())
        fail("workspaceControl", "This command is not available in batch mode.");
    const control_args a = parse_control(args);
    if (a.names.size() > 1)
        fail("workspaceControl", "Only one control name may be given.");
    if (a.names.isEmpty())
        fail("workspaceControl", "A control name is required.");
    const QString name = a.names[0];
    if (a.has("exists")) // other flags are ignored
        return value::from_int(find(name) ? 1 : 0);
    workspace_control* c = find(name);
    if ((a.query || a.edit) && !c)
        fail("workspaceControl", QString("Object '%1' not found.").arg(name));
    if (a.query)
        return query(c, a);
    if (a.edit) {
        edit(h, c, a);
        return value();
    }
    return create(h, name, a);
}

value mel_delete_ui(host& h, const args_t& args)
{
    if (h.batch())
        fail("deleteUI", "This command is not available in batch mode.");
    QStringList names;
    for (const value& v : args) {
        if (is_flag(v)) {
            if (!find_flag(delete_flags, v.to_string().mid(1)))
                fail("deleteUI", QString("Invalid flag '%1'").arg(v.to_string()));
            continue;
        }
        names += v.is_array() ? v.to_strings() : QStringList{v.to_string()};
    }
    if (names.isEmpty())
        fail("deleteUI", "Not enough objects or values.");
    // Every name is checked before anything goes.
    for (const QString& name : std::as_const(names))
        if (!find(name))
            fail("deleteUI", QString("Object '%1' not found.").arg(name));
    for (const QString& name : std::as_const(names)) {
        workspace_control* c = find(name);
        forget(c);
        delete c;
    }
    return value();
}

value mel_restore_workspace(host& h, const args_t& args)
{
    if (!args.isEmpty())
        fail("sandboxRestoreWorkspace", "It takes no arguments.");
    h.restore_workspace();
    return value();
}

} // namespace

int workspace_flag_takes_value(const QString& command, const QString& flag)
{
    const control_flag* rule = nullptr;
    if (command == "workspaceControl")
        rule = find_flag(control_flags, flag);
    else if (command == "deleteUI")
        rule = find_flag(delete_flags, flag);
    else
        return -1;
    if (!rule)
        return flag == "q" || flag == "query" || flag == "e" || flag == "edit" ? 0 : -1;
    return rule->values > 0 ? 1 : 0;
}

QWidget* find_control(const QString& name)
{
    workspace_control* c = find(name);
    return c ? c->content() : nullptr;
}

QStringList drop_workspace_controls(const QString& owner)
{
    QStringList dropped;
    const QStringList names = controls().keys();
    for (const QString& name : names) {
        workspace_control* c = find(name);
        if (!c || c->owner != owner)
            continue;
        dropped.append(name);
        forget(c);
        delete c;
    }
    return dropped;
}

void install_workspace_commands(host& h, mel::interpreter& interp)
{
    interp.register_command("workspaceControl",
                            [&h](mel::interpreter&, const args_t& args) { return mel_workspace_control(h, args); });
    interp.register_command("deleteUI",
                            [&h](mel::interpreter&, const args_t& args) { return mel_delete_ui(h, args); });
    interp.register_command("sandboxRestoreWorkspace",
                            [&h](mel::interpreter&, const args_t& args) { return mel_restore_workspace(h, args); });
}

void host::restore_workspace()
{
    // The session ends first, as Maya's does before it starts again.
    quit();
    // The new session's controls come back empty, where they were; open
    // ones are filled at once, closed ones when they are next shown.
    QVector<QPointer<workspace_control>> all;
    for (const QString& name : controls().keys())
        if (workspace_control* c = find(name))
            all.append(c);
    for (const auto& c : std::as_const(all))
        if (c)
            c->empty();
    for (const auto& c : std::as_const(all)) {
        if (!c)
            continue;
        if (c->isHidden())
            c->needs_ui = true;
        else
            c->run_ui_script();
    }
}

QStringList host::workspace_controls() const
{
    QStringList out;
    for (const QString& name : controls().keys())
        if (find(name))
            out.append(name);
    return out;
}

} // namespace sandbox
