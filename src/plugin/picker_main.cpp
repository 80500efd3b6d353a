#include "plugin/picker_main.h"

#include "edit/rebind_command.h"
#include "model/button_model.h"
#include "model/name_list.h"
#include "model/namespaces.h"
#include "model/picker_book.h"
#include "model/picker_host.h"
#include "model/scene_data.h"
#include "model/scene_room.h"
#include "model/undo_chunk.h"
#include "plugin/string_lists.h"
#include "view/picker_view.h"
#include "window/picker_files.h"
#include "window/picker_window.h"
#include "window/window_texts.h"

#include <maya/MGlobal.h>
#include <maya/MItSelectionList.h>
#include <maya/MQtUtil.h>
#include <maya/MSelectionList.h>

#include <QDataStream>
#include <QtNumeric>
#include <QDir>
#include <QGuiApplication>
#include <QResource>
#include <QScreen>
#include <QSet>
#include <QSettings>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QUndoStack>

#include <algorithm>
#include <cmath>
#include <utility>

// Constructed at library load in this order, destroyed in reverse at unload.
const char* const picker_main::control_name = "QuillmarshPickerWorkspaceControl";
QPointer<QWidget> picker_main::window_;
QPointer<picker_book> picker_main::headless_;
QHash<QString, int> picker_main::watches_;
QMutex picker_main::mutex_;
MString picker_main::name_(texts::command_name);
MString picker_main::path_;
MCallbackId picker_main::selectionChangedId_ = 0;
MCallbackId picker_main::quitApplicationId_ = 0;
MCallbackId picker_main::deleteAllId_ = 0;
MCallbackId picker_main::newSceneOpenedId_ = 0;
MCallbackId picker_main::sceneOpenedId_ = 0;
MCallbackId picker_main::beforeSaveId_ = 0;

namespace {

// While the command makes the control: the uiScript Maya runs then is that
// same command again, and leaves filling the control to the first.
bool making_control = false;

MString to_m(const QString& s)
{
    return MQtUtil::toMString(s);
}

QString to_q(const MString& s)
{
    return MQtUtil::toQString(s);
}

void selection_query_failed(const MStatus& status)
{
    MGlobal::displayError(to_m(QString("%1- could not get the current selection: %2")
                                   .arg(texts::command_name, to_q(status.errorString()))));
}

const char* const settings_organisation = "Quillmarsh";
const char* const settings_application = "picker";

// The text of one of the scene's file-info entries; empty when it has none.
// The key is the picker's own (a fixed prefix and digits), safe in MEL.
QByteArray scene_entry(const QString& key)
{
    MStringArray result;
    if (!MGlobal::executeCommand(to_m(QString("fileInfo -q \"%1\"").arg(key)), result, false, false) ||
        result.length() != 1)
        return QByteArray();
    return QByteArray(result[0].asChar(), int(result[0].length()));
}

} // namespace

namespace {
// Whether a directive needs a tab to act on, and how many arguments it takes
// at most (those that address a button check their own counts).
constexpr bool tab = true;
constexpr bool any_tab = false;
constexpr int any = -1;
} // namespace

const picker_main::directive_entry picker_main::directives[] = {
    {"clear", &picker_main::clear_selection, any_tab, 0},
    {"select", &picker_main::select_objects, any_tab, any},
    {"restore", &picker_main::fetch_pickerdata, any_tab, 1},
    {"fetch_image", &picker_main::fetch_image, any_tab, 2},
    {"set_background", &picker_main::set_background, tab, 1},
    {"clear_background", &picker_main::clear_background, tab, 0},
    {"bind", &picker_main::bind_picker, any_tab, any},
    {"rebind", &picker_main::rebind_picker, any_tab, any},
    {"update_namespace", &picker_main::update_namespace, tab, 2},
    {"save", &picker_main::save, tab, 1},
    {"saveas", &picker_main::saveas, tab, 1},
    {"new_tab", &picker_main::new_tab, any_tab, 0},
    {"close_tab", &picker_main::close_current_tab, tab, 0},
    {"clear_tabs", &picker_main::clear_tabs, any_tab, 0},
    {"rename_tab", &picker_main::rename_tab, tab, 1},
    {"query_tabs", &picker_main::query_tabs, any_tab, 0},
    {"set_tab", &picker_main::set_tab, any_tab, 1},
    {"add_button", &picker_main::add_button, tab, 3},
    {"add_cmd_button", &picker_main::add_cmd_button, tab, 5},
    {"move_button", &picker_main::move_button, tab, any},
    {"rename_button", &picker_main::rename_button, tab, any},
    {"update_button", &picker_main::update_button, tab, any},
    {"delete_button", &picker_main::delete_button, tab, any},
    {"query_button", &picker_main::query_button, tab, any},
    {"get_button_bounds", &picker_main::get_button_bounds, tab, any},
    {"resize_button", &picker_main::resize_button, tab, any},
    {"color_button", &picker_main::color_button, tab, any},
    {"color_button_text", &picker_main::color_button_text, tab, any},
    {"get_button_properties", &picker_main::get_button_properties, tab, any},
    {"set_button_properties", &picker_main::set_button_properties, tab, any},
    {"set_button_shape", &picker_main::set_button_shape, tab, any},
    {"set_button_image", &picker_main::set_button_image, tab, any},
    {"press_button", &picker_main::press_button, tab, any},
    {"add_attribute_button", &picker_main::add_attribute_button, tab, 10},
    {"set_attribute_button", &picker_main::set_attribute_button, tab, 5},
    {"get_attribute_button", &picker_main::get_attribute_button, tab, 3},
    {"attribute_changed", &picker_main::attribute_changed, any_tab, any},
    {"mirror_buttons", &picker_main::mirror_buttons, tab, any},
    {"set_mirror_patterns", &picker_main::set_mirror_patterns, any_tab, any},
    {"get_mirror_patterns", &picker_main::get_mirror_patterns, any_tab, 1},
    {"get_namespaces", &picker_main::get_namespaces, tab, 0},
    {"enable_batch_mode", &picker_main::enable_batch_mode, any_tab, 0},
    {"disable_batch_mode", &picker_main::disable_batch_mode, any_tab, 0},
    {"flush", &picker_main::flush, any_tab, 0},
    {"open", &picker_main::open, any_tab, any},
    {"follow_selection", &picker_main::follow_selection, any_tab, 1},
    {"query_buttons", &picker_main::query_buttons, tab, 0},
    {"get_background", &picker_main::get_background, tab, 0},
    {"current_tab", &picker_main::current_tab, tab, 0},
    {"check_bindings", &picker_main::check_bindings, tab, 0},
};

MStatus script_error(const char* directive, const QString& message)
{
    MGlobal::displayError(to_m(QString("%1 - %2: %3").arg(texts::command_name, directive, message)));
    return MStatus::kFailure;
}

void report_error(const MStatus& status, const QString& message)
{
    if (status)
        return;
    MGlobal::displayError(to_m(QString("%1 - %2: %3 ")
                                   .arg(texts::command_name, message, to_q(status.errorString()))));
}

void* picker_main::creator()
{
    return new picker_main;
}

picker_window* picker_main::picker()
{
    return qobject_cast<picker_window*>(window_.data());
}

picker_view* picker_main::current_view()
{
    picker_window* w = picker();
    if (!w || w->tabs()->count() == 0)
        return nullptr;
    return qobject_cast<picker_view*>(w->tabs()->currentWidget());
}

picker_book* picker_main::existing_book()
{
    if (picker_window* w = picker())
        return w->book();
    return headless_;
}

picker_book* picker_main::book()
{
    if (picker_book* b = existing_book())
        return b;
    if (has_interface())
        return nullptr;
    // Without an interface the pages are kept here, lit by the same
    // selection list the window would install.
    headless_ = new picker_book;
    buttonRecord::set_selection_list(&name_list::picker());
    restore_from_scene();
    return headless_;
}

picker_page* picker_main::current_page()
{
    picker_book* b = book();
    return b ? b->current_page() : nullptr;
}

picker_view* picker_main::view_of(const picker_page* page)
{
    picker_window* w = picker();
    return w && page ? w->view_of(page) : nullptr;
}

void picker_main::push_step(picker_page* page, QUndoCommand* step)
{
    // A tab's edits are undone in it; without a window there is no one to undo.
    if (picker_view* view = view_of(page)) {
        view->undoer()->push(step);
        return;
    }
    step->redo();
    delete step;
}

// ----- The command

MStatus picker_main::doIt(const MArgList& args)
{
    MStatus status;
    unsigned n = args.length(&status);
    if (!status) {
        report_error(status, "could not determine the number of parameters");
        return status;
    }
    if (n == 0) {
        if (!has_interface()) {
            // A build script that opens the window first still runs in batch.
            MGlobal::displayWarning(to_m(QString("%1: there is no picker window without Maya's interface (batch "
                                                 "mode); its directives work on the scene's pickers all the same")
                                             .arg(texts::command_name)));
            book();
            return MStatus::kSuccess;
        }
        if (!window_)
            create_window();
        if (!window_)
            return making_control ? MStatus::kSuccess : MStatus::kFailure;
        // A closed control comes back as the user left it: docked or floating.
        if (!control_visible())
            control_command("-e -restore");
        else if (window_->isActiveWindow())
            window_->window()->raise();
        selectionChangedFn(nullptr);
        return MStatus::kSuccess;
    }

    MString directive = args.asString(0, &status);
    if (!status) {
        report_error(status, "could not parse the command");
        return status;
    }
    // Numbers arrive as numbers; the directives read them as text.
    MStringArray list;
    if (const unsigned bad = directive_arguments(args, list)) {
        MGlobal::displayError(to_m(QString("%1 - %2: argument %3 is neither a string nor a number")
                                       .arg(texts::command_name, to_q(directive))
                                       .arg(bad)));
        return MStatus::kFailure;
    }
    return process_command(directive, list);
}

bool picker_main::has_interface()
{
    // Batch mode, mayapy and a standalone application have no QApplication:
    // a widget made there aborts Maya.
    return MGlobal::mayaState() == MGlobal::kInteractive;
}

MStatus picker_main::process_command(const MString& directive, const MStringArray& args)
{
    for (const directive_entry& entry : directives) {
        if (directive != entry.name)
            continue;
        if (!window_ && has_interface())
            create_window();
        if (entry.max_args >= 0 && int(args.length()) > entry.max_args)
            return script_error(entry.name, entry.max_args == 0
                                                ? QString("takes no arguments, got %1").arg(args.length())
                                                : QString("takes at most %1 argument%2, got %3")
                                                      .arg(entry.max_args)
                                                      .arg(entry.max_args > 1 ? "s" : "")
                                                      .arg(args.length()));
        if (entry.needs_tab && !current_page())
            return script_error(entry.name, "there is no tab to act on: make one with new_tab or open a picker");
        return (this->*entry.run)(args);
    }
    MGlobal::displayError(to_m(QString("%1 - unknown directive: %2").arg(texts::command_name, to_q(directive))));
    return MStatus::kFailure;
}

bool picker_main::control_command(const QString& flags, MStringArray* result)
{
    const MString text = to_m(QString("workspaceControl %1 %2").arg(flags, control_name));
    MStringArray ignored;
    return bool(MGlobal::executeCommand(text, result ? *result : ignored, false, false));
}

bool picker_main::control_exists()
{
    MStringArray exists;
    return control_command("-exists", &exists) && exists.length() == 1 && exists[0] == "1";
}

bool picker_main::control_visible()
{
    MStringArray visible;
    return control_command("-q -visible", &visible) && visible.length() == 1 && visible[0] == "1";
}

bool picker_main::make_control()
{
    if (control_exists())
        return true;
    QSettings settings(settings_organisation, settings_application);
    // The first time, the window is wide enough for the whole toolbox row.
    const QSize size = settings.value("pickerSize", QSize(400, 540)).toSize().expandedTo(QSize(150, 150));
    // Maya runs the uiScript at once and whenever it restores the workspace
    // in a later session: the command without arguments fills the control
    // it finds, and does nothing while the plug-in is not loaded. The
    // control is retained: closing it hides the window with its tabs.
    const QString flags = QString("-label \"Quillmarsh Picker\" -retain true -floating true -checksPlugins true "
                                  "-initialWidth %1 -initialHeight %2 "
                                  "-uiScript \"if (`exists %3`) %3;\"")
                              .arg(size.width())
                              .arg(size.height())
                              .arg(texts::command_name);
    if (control_command(flags))
        return true;
    MGlobal::displayError(to_m(QString("%1 - could not make the workspace control %2 for the picker window")
                                   .arg(texts::command_name, control_name)));
    return false;
}

void picker_main::create_window()
{
    init_picker_resources();
    if (!window_ && !making_control) {
        making_control = true;
        const bool made = make_control();
        making_control = false;
        if (!made)
            return;
    }
    if (window_)
        return;
    QWidget* control = MQtUtil::findControl(control_name);
    if (!control) {
        if (!making_control)
            MGlobal::displayError(to_m(QString("%1 - the workspace control %2 has no widget to hold the picker")
                                           .arg(texts::command_name, control_name)));
        return;
    }
    if (!control->layout()) {
        auto* layout = new QVBoxLayout(control);
        layout->setContentsMargins(0, 0, 0, 0);
    }
    picker_window* window = new picker_window(control);
    control->layout()->addWidget(window);
    window_ = window;
    QObject::connect(window, &picker_window::exit_requested, window, [] { control_command("-e -close"); });
    read_settings();
    window->show();
    // At once rather than on idle: a script that opens the window and then
    // builds buttons must not have them replaced by a restore run later.
    restore_from_scene();
}

void picker_main::cleanup()
{
    // A job left behind would call a command that is gone.
    unwatch_attributes();
    // A change still waiting for idle time goes into the scene first.
    if (headless_) {
        headless_->flush(false);
        delete headless_.data();
    }
    if (!window_)
        return;
    write_settings();
    if (picker_window* w = picker())
        w->flushSceneData(false);
    // The control stays: Maya keeps it with the workspace it saves.
    delete window_.data();
}

void picker_main::delete_control()
{
    if (!has_interface())
        return;
    if (control_exists())
        report_error(MGlobal::executeCommand(to_m(QString("deleteUI %1").arg(control_name)), false, false),
                     "could not delete the picker's workspace control");
}

// ----- Window geometry

void picker_main::write_settings()
{
    if (!window_)
        return;
    // Only a floating control has a size and place of its own.
    QWidget* top = window_->window();
    if (top == MQtUtil::mainWindow())
        return;
    QSettings settings(settings_organisation, settings_application);
    settings.setValue("pickerSize", top->size());
    settings.setValue("pickerPosition", top->pos());
}

void picker_main::read_settings()
{
    if (!window_)
        return;
    QSettings settings(settings_organisation, settings_application);
    // The first time, the window is wide enough for the whole toolbox row.
    QSize fits(400, 540);
    if (picker_window* w = picker())
        fits = fits.expandedTo(QSize(w->sizeHint().width(), 0));
    QSize size = settings.value("pickerSize", fits).toSize();
    QPoint pos = settings.value("pickerPosition", QPoint(120, 100)).toPoint();
    size = size.expandedTo(QSize(150, 150));
    QRect rect(pos, size);
    bool visible = false;
    for (QScreen* screen : QGuiApplication::screens())
        if (screen->availableGeometry().contains(rect))
            visible = true;
    if (!visible) {
        if (QScreen* primary = QGuiApplication::primaryScreen())
            rect.moveCenter(primary->availableGeometry().center());
    }
    QWidget* top = window_->window();
    if (top == MQtUtil::mainWindow() || top == window_)
        return;
    top->resize(rect.size());
    top->move(rect.topLeft());
}

// ----- Host callbacks

void picker_main::selectionChangedFn(void*)
{
    sync_selection(false);
}

void picker_main::sync_selection(bool own)
{
    picker_book* b = existing_book();
    if (!b)
        return;
    if (!mutex_.tryLock(0))
        return; // the picker itself is changing the selection
    QStringList names;
    MStatus status = host_selection(names);
    if (!status) {
        selection_query_failed(status);
        mutex_.unlock();
        return;
    }
    // Full paths light buttons bound by a longer path than the host's
    // shortest unique one; one query for the whole selection.
    MStringArray full;
    if (!names.isEmpty() && !MGlobal::executeCommand("ls -sl -l", full, false, false))
        full.clear();
    if (picker_window* w = picker())
        w->setSelection(names, own, MStringArrayToQStringList(full));
    else
        b->take_selection(names, own, MStringArrayToQStringList(full));
    mutex_.unlock();
}

void picker_main::selection_settled(const MStringArray& asked)
{
    picker_window* w = picker();
    sync_selection(w && w->take_own_post(MStringArrayToQStringList(asked)));
}

MStatus picker_main::host_selection(QStringList& names)
{
    names.clear();
    MSelectionList list;
    MStatus status = MGlobal::getActiveSelectionList(list);
    if (!status || list.isEmpty())
        return status;
    for (MItSelectionList it(list); !it.isDone(); it.next()) {
        MStringArray strings;
        it.getStrings(strings);
        names += MStringArrayToQStringList(strings);
    }
    return MStatus::kSuccess;
}

void picker_main::quitApplicationFn(void*)
{
    cleanup();
}

void picker_main::deleteAllFn(void*)
{
    if (existing_book()) {
        reset_pickers();
        selectionChangedFn(nullptr);
        watch_attributes();
    }
}

void picker_main::reset_pickers()
{
    if (picker_window* w = picker())
        w->reset();
    else if (picker_book* b = existing_book())
        b->reset();
}

void picker_main::sceneOpenedFn(void*)
{
    // The scene has finished loading when this fires, so its data can be
    // read at once; a restore left for idle time could replace tabs a script
    // builds right after opening the scene.
    restore_from_scene();
}

void picker_main::beforeSaveFn(void*)
{
    if (picker_book* b = existing_book())
        b->flush(true);
}

void picker_main::restore_from_scene()
{
    if (!existing_book())
        return;
    MStringArray data;
    MString query = to_m(QString("fileInfo -q \"%1\"").arg(scene_keys::picker_data));
    if (!MGlobal::executeCommand(query, data, false, false))
        data.clear();
    restore_window(data, true);
    watch_attributes();
}

namespace {
QByteArray script_text(const QString& name)
{
    init_picker_resources();
    QResource resource(QString(":/scripts/%1").arg(name));
    return resource.isValid() ? resource.uncompressedData() : QByteArray();
}
} // namespace

void load_script(const QString& name)
{
    const QByteArray text = script_text(name);
    if (!text.isEmpty())
        MGlobal::executeCommandOnIdle(MString(text.constData(), text.size()), false);
}

bool load_script_now(const QString& name)
{
    const QByteArray text = script_text(name);
    return !text.isEmpty() && MGlobal::executeCommand(MString(text.constData(), text.size()), false, false);
}

bool ensure_script(const QString& name)
{
    // Sourced again once a load, whatever idle time has done: asking MEL
    // whether a procedure exists gives a number, which is not a result this
    // plug-in reads.
    static QSet<QString> sourced;
    if (sourced.contains(name))
        return true;
    if (!load_script_now(name))
        return false;
    sourced.insert(name);
    return true;
}

bool load_attribute_procs()
{
    return ensure_script("picker_Attributes.mel");
}

// ----- Selection directives

namespace {

// The picker holds the lock while it changes the host's selection; a
// selection callback (a script job) that calls back in would wait on it
// for ever.
const char* const reentered = "the picker is changing the selection already; a selection callback cannot change it through the picker";

} // namespace

bool picker_main::remember_selection(MSelectionList& list)
{
    const MStatus status = MGlobal::getActiveSelectionList(list);
    if (!status)
        selection_query_failed(status);
    return status;
}

// A select or clear is one step on Maya's undo queue: undo puts back the
// selection it replaced, redo makes its own again. The window follows
// through the selection callback, as for any other change.
MStatus picker_main::undoIt()
{
    if (attributeStep_)
        return set_attributes_now(attributePlugs_, attributesBefore_);
    return MGlobal::setActiveSelectionList(before_, MGlobal::kReplaceList);
}

MStatus picker_main::redoIt()
{
    if (attributeStep_)
        return set_attributes_now(attributePlugs_, attributesAfter_);
    return MGlobal::setActiveSelectionList(after_, MGlobal::kReplaceList);
}

// ----- Attribute values

MStatus picker_main::set_attributes_now(const QStringList& plugs, const QVector<double>& values)
{
    const bool ok = picker_host::instance().run_mel_now(set_attributes_mel(plugs, values));
    refresh_attribute_values(plugs);
    return ok ? MStatus::kSuccess : MStatus::kFailure;
}

void picker_main::refresh_attribute_values(const QStringList& plugs)
{
    picker_book* b = existing_book();
    if (!b)
        return;
    QStringList asked = plugs;
    if (asked.isEmpty()) {
        const QVector<const picker_page*> pages = b->pages();
        for (const picker_page* page : pages)
            asked += page->attribute_plugs();
    }
    asked.removeDuplicates();
    if (asked.isEmpty())
        return;
    const QVector<double> values = picker_host::instance().attribute_values(asked);
    QHash<QString, double> known;
    for (int i = 0; i < asked.size(); ++i)
        known.insert(asked[i], values.value(i, qQNaN()));
    for (int i = 0; i < b->count(); ++i)
        b->page(i)->set_attribute_values(known);
}

void picker_main::watch_attributes()
{
    picker_book* b = existing_book();
    QSet<QString> wanted;
    // Batch sessions have no widget to show a value in.
    if (b && has_interface()) {
        const QVector<const picker_page*> pages = b->pages();
        for (const picker_page* page : pages) {
            const QStringList plugs = page->attribute_plugs();
            for (const QString& plug : plugs)
                wanted.insert(plug);
        }
    }
    QStringList ids;
    for (auto it = watches_.begin(); it != watches_.end();) {
        if (wanted.contains(it.key())) {
            wanted.remove(it.key());
            ++it;
        } else {
            ids << QString::number(it.value());
            it = watches_.erase(it);
        }
    }
    if (!ids.isEmpty())
        MGlobal::executeCommand(to_m(QString("picker_UnwatchAttributes({%1})").arg(ids.join(", "))), false, false);
    QStringList added(wanted.begin(), wanted.end());
    if (added.isEmpty() || !load_attribute_procs())
        return;
    MStringArray result;
    MGlobal::executeCommand(to_m(QString("picker_WatchAttributes(%1)").arg(mel_array_literal(added))), result,
                            false, false);
    for (int i = 0; i < added.size() && i < int(result.length()); ++i) {
        bool ok = false;
        const int id = to_q(result[unsigned(i)]).toInt(&ok);
        if (ok)
            watches_.insert(added[i], id);
    }
    refresh_attribute_values(added);
}

void picker_main::unwatch_attributes()
{
    QStringList ids;
    for (int id : std::as_const(watches_))
        ids << QString::number(id);
    watches_.clear();
    if (!ids.isEmpty())
        MGlobal::executeCommand(to_m(QString("picker_UnwatchAttributes({%1})").arg(ids.join(", "))), false, false);
}

// What the watches run: the plug changed by some route (a script, undo,
// another tool), so the buttons bound to it show its value again.
MStatus picker_main::attribute_changed(const MStringArray& args)
{
    QStringList plugs = MStringArrayToQStringList(args);
    for (const QString& plug : std::as_const(plugs))
        if (!is_plug_name(plug))
            return script_error("attribute_changed", QString("\"%1\" is not an attribute (node.attribute)").arg(plug));
    refresh_attribute_values(plugs);
    return MStatus::kSuccess;
}

MStatus picker_main::clear_selection(const MStringArray& args)
{
    if (!mutex_.tryLock(0))
        return script_error("clear", reentered);
    // Without the selection before it, the step could not be undone.
    const bool remembered = remember_selection(before_);
    MStatus status = MGlobal::clearSelectionList();
    undoable_ = remembered && status && remember_selection(after_);
    mutex_.unlock();
    selection_settled(args);
    return status;
}

MStatus picker_main::select_objects(const MStringArray& args)
{
    if (args.length() == 0)
        return clear_selection(args);
    if (!mutex_.tryLock(0))
        return script_error("select", reentered);
    const bool remembered = remember_selection(before_);
    MStatus status = MStatus::kFailure;
    QStringList refused;
    unsigned first = 0;
    // The first name Maya accepts replaces the selection; the rest add to it.
    for (; first < args.length(); ++first) {
        status = MGlobal::selectByName(args[first], MGlobal::kReplaceList);
        if (status)
            break;
        refused << to_q(args[first]);
    }
    for (unsigned i = first + 1; i < args.length(); ++i) {
        status = MGlobal::selectByName(args[i], MGlobal::kAddToList);
        if (!status)
            refused << to_q(args[i]);
    }
    undoable_ = remembered && remember_selection(after_);
    mutex_.unlock();
    selection_settled(args);
    if (refused.isEmpty())
        return status;
    // The rest is named, so a button bound to objects that are gone says which.
    refused.removeDuplicates();
    const int shown = 10;
    QString list = refused.mid(0, shown).join(", ");
    if (refused.size() > shown)
        list += QString(" and %1 more").arg(refused.size() - shown);
    const QString message = QString("not in the scene: %1").arg(list);
    if (first == args.length())
        return script_error("select", message); // nothing selected, nothing changed
    // What the scene has is selected all the same, as one undo step: a
    // failed command would leave a change on Maya's undo queue's blind side.
    MGlobal::displayWarning(to_m(QString("%1 - select: %2").arg(texts::command_name, message)));
    return MStatus::kSuccess;
}

// ----- Scene data directives

MStatus picker_main::fetch_pickerdata(const MStringArray& args)
{
    return restore_window(args, false);
}

MStatus picker_main::restore_window(const MStringArray& args, bool from_scene)
{
    picker_book* b = book();
    if (!b)
        return MStatus::kSuccess;
    if (args.length() != 1 || args[0].length() == 0) {
        // A scene without picker data: the query returned nothing.
        reset_pickers();
        selectionChangedFn(nullptr);
        return MStatus::kSuccess;
    }
    QByteArray text(args[0].asChar(), int(args[0].length()));
    QByteArray bytes = decode_picker_data(text);
    if (bytes.isEmpty()) {
        // The damaged data stays in the scene until the picker is changed.
        MGlobal::displayWarning(to_m(QString("%1 - the picker data of this scene is damaged and could not be read.")
                                         .arg(texts::command_name)));
        reset_pickers();
        selectionChangedFn(nullptr);
        return MStatus::kFailure;
    }
    // The entries the scene held before: a script's restore replaces the
    // tabs of this same scene.
    const QSet<QString> held_images = b->scene_image_keys();
    bool read = false;
    {
        QDataStream in(bytes);
        read = b->stream_from(in);
    }
    bytes.clear();
    if (!read && !b->last_refusal().isEmpty()) {
        const QString refusal = b->last_refusal();
        if (picker_window* w = picker()) {
            // The scene's own data is read inside the SceneOpened callback,
            // while Maya is still opening the file: the warning box waits
            // for the event loop. Posted to the window, it goes with it when
            // the plug-in unloads first.
            if (from_scene)
                QMetaObject::invokeMethod(w, [w, refusal] { w->show_stream_notice(refusal); }, Qt::QueuedConnection);
            else
                w->show_stream_notice(refusal);
        } else {
            MGlobal::displayWarning(to_m(QString("%1 - %2").arg(texts::command_name, refusal.simplified())));
        }
    }
    if (read)
        if (picker_window* w = picker())
            w->frame_all_when_shown();
    if (!b->last_damage().isEmpty())
        MGlobal::displayWarning(to_m(QString("%1 - the picker data of this scene is damaged: %2 were read.")
                                         .arg(texts::command_name, b->last_damage())));
    if (b->last_too_new()) {
        if (from_scene) {
            b->adopt(text, held_images);
            b->keep_newer();
        }
        selectionChangedFn(nullptr);
        return MStatus::kSuccess;
    }
    if (from_scene) {
        b->adopt(text);
    } else {
        // Data handed in by a script: the scene gets it unless it holds it.
        b->adopt(scene_entry(scene_keys::picker_data), held_images);
    }
    // Every tab's picture, each from its own entry, before anything else
    // can run: a script that goes on right after the restore sees them.
    for (const QString& lost : b->load_scene_pictures(scene_entry))
        MGlobal::displayWarning(to_m(QString("%1 - %2.").arg(texts::command_name, lost)));
    if (!from_scene)
        b->touch();
    selectionChangedFn(nullptr);
    return MStatus::kSuccess;
}

MStatus picker_main::fetch_image(const MStringArray& args)
{
    picker_book* b = book();
    if (!b || args.length() != 2 || args[0].length() == 0)
        return MStatus::kSuccess;
    QByteArray text(args[1].asChar(), int(args[1].length()));
    if (QByteArray::fromBase64(text).isEmpty())
        return MStatus::kFailure;
    const QString key = to_q(args[0]);
    const png_picture picture = decode_image(text);
    // The tabs under the key give their picture up for this one.
    if (!within_scene_budget(b->scene_pictures(nullptr, key) << picture))
        return script_error("fetch_image", scene_budget_exceeded());
    b->set_background_image(key, picture);
    return MStatus::kSuccess;
}

MStatus picker_main::set_background(const MStringArray& args)
{
    picker_page* page = current_page();
    if (args.length() != 1)
        return script_error("set_background", "needs one image file");
    QString why;
    const png_picture picture = load_image_file(to_q(args[0]), &why);
    if (picture.isNull()) // the picker keeps the background it has
        return script_error("set_background", why);
    if (!book()->place_background(page, QString::number(picture.key()), picture))
        return script_error("set_background",
                            QString("\"%1\" was not set: %2").arg(to_q(args[0]), scene_budget_exceeded()));
    return MStatus::kSuccess;
}

MStatus picker_main::clear_background(const MStringArray&)
{
    current_page()->set_background(QString(), png_picture());
    return MStatus::kSuccess;
}

// ----- Tab directives

// With a path, as from a script: saved there without a dialog, and a
// failure is an error rather than a message box.
MStatus picker_main::save_to(const char* directive, const MStringArray& args)
{
    picker_page* page = current_page();
    if (args.length() > 1)
        return script_error(directive, "takes at most one path");
    const QString path = to_q(args[0]);
    if (path.isEmpty())
        return script_error(directive, "the path is empty");
    QString why;
    if (!write_picker(*page, path, &why, nullptr))
        return script_error(directive, QString("could not save \"%1\": %2").arg(path, why));
    page->set_path(path);
    page->mark_saved();
    picker_host::instance().inform(texts::saved_picker.arg(page->name(), QDir::toNativeSeparators(path)));
    return MStatus::kSuccess;
}

MStatus picker_main::save(const MStringArray& args)
{
    if (args.length() > 0)
        return save_to("save", args);
    if (!has_interface())
        return script_error("save", "needs the path to save to: there is no dialog to ask for one in batch mode");
    if (picker_window* w = picker())
        w->save_current();
    return MStatus::kSuccess;
}

MStatus picker_main::saveas(const MStringArray& args)
{
    if (args.length() > 0)
        return save_to("saveas", args);
    if (!has_interface())
        return script_error("saveas", "needs the path to save to: there is no dialog to ask for one in batch mode");
    if (picker_window* w = picker())
        w->saveas_current();
    return MStatus::kSuccess;
}

MStatus picker_main::new_tab(const MStringArray&)
{
    picker_book* b = book();
    if (!b)
        return MStatus::kSuccess;
    const QString why = no_room(b->pages(), nullptr, 0, 1);
    if (!why.isEmpty())
        return script_error("new_tab", why);
    b->set_current(b->index_of(b->append("Untitled")));
    return MStatus::kSuccess;
}

MStatus picker_main::close_current_tab(const MStringArray&)
{
    if (picker_book* b = book())
        b->remove(b->current());
    return MStatus::kSuccess;
}

MStatus picker_main::clear_tabs(const MStringArray&)
{
    if (picker_book* b = book())
        b->clear();
    return MStatus::kSuccess;
}

MStatus picker_main::rename_tab(const MStringArray& args)
{
    picker_book* b = book();
    if (b && args.length() > 0)
        b->rename(b->current(), to_q(args[0]));
    return MStatus::kSuccess;
}

MStatus picker_main::query_tabs(const MStringArray&)
{
    clearResult();
    if (picker_book* b = book())
        for (int i = 0; i < b->count(); ++i)
            appendToResult(to_m(b->page(i)->name()));
    return MStatus::kSuccess;
}

MStatus picker_main::set_tab(const MStringArray& args)
{
    picker_book* b = book();
    if (!b || b->count() == 0)
        return MStatus::kSuccess;
    if (args.length() != 1)
        return script_error("set_tab", "needs one tab name");
    // When several tabs share the name, the last of them is made current.
    const QString name = to_q(args[0]);
    const int found = b->find(name);
    if (found < 0)
        return script_error("set_tab", QString("no tab is named \"%1\"").arg(name));
    b->set_current(found);
    return MStatus::kSuccess;
}

namespace {

// Without a chooser to ask with, a picker naming namespaces the scene lacks
// is named in a warning, for update_namespace to move.
void warn_unbound(const char* directive, const picker_page& page, const QStringList& scene)
{
    QStringList missing;
    for (const QString& ns : page.namespaces())
        if (!ns.isEmpty() && !scene.contains(ns) && !missing.contains(ns))
            missing << ns;
    if (!missing.isEmpty())
        MGlobal::displayWarning(to_m(QString("%1 - %2: the picker \"%3\" names namespaces the scene lacks (%4); "
                                             "move it with update_namespace")
                                         .arg(texts::command_name, directive, page.name(), missing.join(", "))));
}

} // namespace

// open PATH... [namespace NS]...: never a dialog. With namespaces each file
// opens once per namespace, its main namespace moved there; without, a
// picker naming namespaces the scene lacks is named in a warning, for
// update_namespace to move. Every argument is checked before any file is read.
MStatus picker_main::open(const MStringArray& given)
{
    picker_book* b = book();
    const QStringList args = MStringArrayToQStringList(given);
    QStringList paths, targets;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] != "namespace") {
            if (!targets.isEmpty())
                return script_error("open", QString("\"%1\" comes after a namespace: the files come first").arg(args[i]));
            paths << args[i];
            continue;
        }
        if (++i == args.size())
            return script_error("open", "namespace needs a namespace after it");
        const QString target = args[i];
        if (target.isEmpty() || !is_valid_namespace(target))
            return script_error("open", QString("\"%1\" is not a namespace").arg(target));
        const QString bare = bare_namespace(target);
        for (const QString& other : std::as_const(targets))
            if (bare_namespace(other) == bare)
                return script_error("open", QString("the namespace \"%1\" is given twice").arg(target));
        targets << target;
    }
    if (paths.isEmpty())
        return script_error("open", "needs a picker file");
    QString why;
    QList<opened_picker> opened;
    const int copies = std::max(1, int(targets.size()));
    if (!open_into_book(*b, paths, &why, &opened, copies))
        return script_error("open", why);
    MStringArray scene_list;
    ensure_script("picker_ListNamespaces.mel");
    MGlobal::executeCommand("picker_ListNamespaces", scene_list, false, false);
    const QStringList scene = MStringArrayToQStringList(scene_list);
    for (int i = 0; i < opened.size(); ++i) {
        const opened_picker& each = opened[i];
        // What the file lost is said in the script output, naming the file,
        // once however many copies it opened as.
        if (!each.warning.isEmpty() && i % copies == 0)
            MGlobal::displayWarning(to_m(QString("%1 - open: %2").arg(texts::command_name, each.warning.simplified())));
        if (!targets.isEmpty()) {
            QStringList from, to;
            if (namespace_move(*each.page, {targets[i % copies]}, &from, &to, &why) && !from.isEmpty())
                rebind_namespace_cmd(each.page, from, to).redo(); // part of opening: no undo step
            continue;
        }
        warn_unbound("open", *each.page, scene);
    }
    if (picker_window* w = picker())
        for (const opened_picker& each : std::as_const(opened))
            w->frame_when_shown(w->view_of(each.page));
    selectionChangedFn(nullptr);
    return MStatus::kSuccess;
}

// follow_selection [1|0]: sets whether the window follows the animator's
// selection to the tab of the selected character; alone, returns it.
MStatus picker_main::follow_selection(const MStringArray& args)
{
    picker_window* w = picker();
    if (args.length() == 0) {
        clearResult();
        // As text, as the other directives give numbers.
        MPxCommand::setResult(MString((w ? w->follows_selection() : picker_window::follow_setting()) ? "1" : "0"));
        return MStatus::kSuccess;
    }
    const QString value = to_q(args[0]).toLower();
    bool on;
    if (value == "1" || value == "true" || value == "on")
        on = true;
    else if (value == "0" || value == "false" || value == "off")
        on = false;
    else
        return script_error("follow_selection", QString("takes 1 or 0, got \"%1\"").arg(to_q(args[0])));
    // Without a window there is nothing to follow with; the choice is the
    // user's all the same, for the next session with one.
    if (w)
        w->set_follow_selection(on);
    else
        picker_window::store_follow_setting(on);
    return MStatus::kSuccess;
}

// ----- Batch mode

MStatus picker_main::enable_batch_mode(const MStringArray&)
{
    if (picker_book* b = book())
        b->hold_notices(true);
    return MStatus::kSuccess;
}

MStatus picker_main::disable_batch_mode(const MStringArray&)
{
    if (picker_book* b = book())
        b->hold_notices(false);
    return MStatus::kSuccess;
}

MStatus picker_main::flush(const MStringArray&)
{
    if (picker_book* b = book())
        b->flush(true);
    // Whatever changed the pickers may have changed the plugs they watch.
    watch_attributes();
    return MStatus::kSuccess;
}

// ----- Namespace and button directives

MStatus picker_main::bind_picker(const MStringArray& args)
{
    if (!has_interface()) {
        // No chooser to ask with: a picker the scene cannot drive is named.
        picker_page* page = current_page();
        if (!page)
            return MStatus::kSuccess;
        warn_unbound("bind", *page, MStringArrayToQStringList(args));
        return MStatus::kSuccess;
    }
    // Each opened picker queued a bind of its own: this one is for the
    // oldest still waiting, whichever tab is in front now.
    picker_window* w = picker();
    if (picker_view* view = w ? w->take_picker_to_bind() : nullptr) {
        QStringList names = MStringArrayToQStringList(args);
        view->rebind(names, false);
    }
    return MStatus::kSuccess;
}

MStatus picker_main::rebind_picker(const MStringArray& args)
{
    if (!has_interface())
        return script_error("rebind", "asks which namespaces to bind in a dialog, which batch mode cannot show; "
                                      "use update_namespace");
    picker_window* w = picker();
    if (picker_view* view = w ? w->frontPicker() : nullptr) {
        QStringList names = MStringArrayToQStringList(args);
        view->rebind(names, true);
    }
    return MStatus::kSuccess;
}

MStatus picker_main::update_namespace(const MStringArray& args)
{
    picker_page* page = current_page();
    QString why;
    QStringList from, to;
    if (!namespace_move(*page, MStringArrayToQStringList(args), &from, &to, &why))
        return script_error("update_namespace", why);
    if (from.isEmpty())
        return MStatus::kSuccess;
    auto* step = new rebind_namespace_cmd(page, from, to);
    if (!step->changes()) {
        delete step;
        return MStatus::kSuccess;
    }
    push_step(page, step);
    return MStatus::kSuccess;
}

MStatus picker_main::get_namespaces(const MStringArray&)
{
    picker_page* page = current_page();
    // Main namespace first: the one update_namespace NEW moves.
    QStringList names;
    for (const buttonRecord& r : page->buttons())
        if (names_scene_objects(r.kind))
            names << r.names;
    QStringList used = namespaces_by_use(names);
    if (used.isEmpty())
        used << ":";
    clearResult();
    appendToResult(QStringListToMStringArray(used));
    return MStatus::kSuccess;
}
