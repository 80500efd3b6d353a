// The QuillmarshPicker command: opens the picker window, or runs one
// directive on it. Everything it keeps lives in process-wide statics; a new
// instance is made for every invocation.
#pragma once

#include <maya/MArgList.h>
#include <maya/MMessage.h>
#include <maya/MPxCommand.h>
#include <maya/MSelectionList.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

#include <QWidget>
#include <QMutex>
#include <QPointer>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

class QUndoCommand;
class picker_book;
class picker_page;
class picker_window;
class picker_view;


// Shows "QuillmarshPicker - <message>: <status text> " when status failed.
void report_error(const MStatus& status, const QString& message);
// Shows "QuillmarshPicker - <directive>: <message>" and fails: a directive
// refusing what a script asked, having changed nothing.
MStatus script_error(const char* directive, const QString& message);

class picker_main : public MPxCommand {
public:
    static void* creator();
    MStatus doIt(const MArgList& args) override;
    // Only select and clear are undo steps: they change the scene's
    // selection. The rest changes the picker, which has its own undo.
    bool isUndoable() const override { return undoable_; }
    MStatus undoIt() override;
    MStatus redoIt() override;

    MStatus process_command(const MString& directive, const MStringArray& args);

    // The workspace control the window lives in: Maya docks it, closes it,
    // and brings it back with the user's workspace.
    static const char* const control_name;
    // The picker window, inside the control; null before it is made and
    // after Maya's session (or a workspace restore) emptied the control.
    static QPointer<QWidget> window_;
    // The pages scripts work on where Maya has no interface.
    static QPointer<picker_book> headless_;
    static QMutex mutex_;
    static MString name_;
    static MString path_;
    static MCallbackId selectionChangedId_;
    static MCallbackId quitApplicationId_;
    static MCallbackId deleteAllId_;
    static MCallbackId newSceneOpenedId_;
    static MCallbackId sceneOpenedId_;
    static MCallbackId beforeSaveId_;

    static void selectionChangedFn(void* data);
    // Brings the window in line with the host's selection; own: it is what
    // the picker itself asked the host to select.
    static void sync_selection(bool own);
    static void quitApplicationFn(void* data);
    static void deleteAllFn(void* data);
    static void sceneOpenedFn(void* data);
    static void beforeSaveFn(void* data);
    // Rebuilds the window from the picker data the scene holds, at once.
    static void restore_from_scene();

    static void cleanup();
    // At unload: the control goes too, or Maya would keep running its
    // uiScript for a command that is gone.
    static void delete_control();
    static void read_settings();
    static void write_settings();

    // The window inside the dock, and its current tab; null when missing.
    static picker_window* picker();
    static picker_view* current_view();
    // The pages scripts work on: the window's, or without an interface the
    // headless ones, made and read from the scene on first use. Null only
    // in an interactive session before the window exists.
    static picker_book* book();
    static picker_book* existing_book();
    static picker_page* current_page();
    static picker_view* view_of(const picker_page* page);
    // An edit of the page: undoable in its tab; without one, just done.
    static void push_step(picker_page* page, QUndoCommand* step);
    // Empty pickers for the next scene.
    static void reset_pickers();
    // The host's active selection, one name or component per item.
    static MStatus host_selection(QStringList& names);

private:
    static void create_window();
    // Makes the control (once); false when the host refused.
    static bool make_control();
    // Runs `workspaceControl <flags> NAME` quietly; false when it failed.
    static bool control_command(const QString& flags, MStringArray* result = nullptr);
    static bool control_exists();
    static bool control_visible();
    // Whether widgets may exist in this session.
    static bool has_interface();
    // Rebuilds the window from picker data; from_scene: the text is what the
    // scene holds, so nothing needs writing back.
    static MStatus restore_window(const MStringArray& args, bool from_scene);

    // The host's selection before a select or clear, and after it.
    bool undoable_ = false;
    // An attribute step: what undo and redo set instead of the selection.
    bool attributeStep_ = false;
    QStringList attributePlugs_;
    QVector<double> attributesBefore_;
    QVector<double> attributesAfter_;
    MStatus set_attribute_step(const char* directive, const QStringList& plugs, QVector<double> values);
    static MStatus set_attributes_now(const QStringList& plugs, const QVector<double>& values);

public:
    // Attribute buttons show what the host holds: the values of these plugs
    // (all the pickers' when empty) are read again.
    static void refresh_attribute_values(const QStringList& plugs = QStringList());
    // One watch (a script job) per plug the pickers set, so a change by any
    // route reaches them; none in batch mode. Called as the pickers change.
    static void watch_attributes();
    static void unwatch_attributes();

private:
    static QHash<QString, int> watches_;
    MSelectionList before_;
    MSelectionList after_;
    // Keeps the host's selection in *list; reports a failure.
    static bool remember_selection(MSelectionList& list);

    MStatus select_objects(const MStringArray& args);
    MStatus clear_selection(const MStringArray& args);
    // After select or clear: the window takes the selection in, keeping
    // its picks when the request was its own.
    static void selection_settled(const MStringArray& asked);
    MStatus fetch_pickerdata(const MStringArray& args);
    MStatus fetch_image(const MStringArray& args);
    MStatus set_background(const MStringArray& args);
    MStatus clear_background(const MStringArray& args);
    MStatus bind_picker(const MStringArray& args);
    MStatus rebind_picker(const MStringArray& args);
    MStatus update_namespace(const MStringArray& args);
    MStatus save(const MStringArray& args);
    MStatus saveas(const MStringArray& args);
    MStatus save_to(const char* directive, const MStringArray& args);
    MStatus new_tab(const MStringArray& args);
    MStatus close_current_tab(const MStringArray& args);
    MStatus clear_tabs(const MStringArray& args);
    MStatus rename_tab(const MStringArray& args);
    MStatus query_tabs(const MStringArray& args);
    MStatus set_tab(const MStringArray& args);
    MStatus get_namespaces(const MStringArray& args);
    MStatus enable_batch_mode(const MStringArray& args);
    MStatus disable_batch_mode(const MStringArray& args);
    MStatus flush(const MStringArray& args);
    MStatus open(const MStringArray& args);
    MStatus follow_selection(const MStringArray& args);
    MStatus add_button(const MStringArray& args);
    MStatus add_cmd_button(const MStringArray& args);
    MStatus move_button(const MStringArray& args);
    MStatus rename_button(const MStringArray& args);
    MStatus update_button(const MStringArray& args);
    MStatus delete_button(const MStringArray& args);
    MStatus query_button(const MStringArray& args);
    MStatus get_button_bounds(const MStringArray& args);
    MStatus resize_button(const MStringArray& args);
    MStatus color_button(const MStringArray& args);
    MStatus color_button_text(const MStringArray& args);
    MStatus get_button_properties(const MStringArray& args);
    MStatus set_button_properties(const MStringArray& args);
    MStatus set_button_shape(const MStringArray& args);
    MStatus set_button_image(const MStringArray& args);
    MStatus color_directive(const MStringArray& args, bool label);
    MStatus press_button(const MStringArray& args);
    MStatus add_attribute_button(const MStringArray& args);
    MStatus set_attribute_button(const MStringArray& args);
    MStatus get_attribute_button(const MStringArray& args);
    MStatus attribute_changed(const MStringArray& args);
    MStatus mirror_buttons(const MStringArray& args);
    MStatus set_mirror_patterns(const MStringArray& args);
    MStatus get_mirror_patterns(const MStringArray& args);
    MStatus query_buttons(const MStringArray& args);
    MStatus get_background(const MStringArray& args);
    MStatus current_tab(const MStringArray& args);
    MStatus check_bindings(const MStringArray& args);

    using handler = MStatus (picker_main::*)(const MStringArray&);
    struct directive_entry {
        const char* name;
        handler run;
        bool needs_tab;
        int max_args; // -1: any number
    };
    static const directive_entry directives[];
};

// Runs a MEL script kept in the plug-in's resources (":/scripts/<name>") on idle.
void load_script(const QString& name);
// Sources it at once; false when it failed.
bool load_script_now(const QString& name);
// The picker's procedures are sourced when Maya is next idle after
// loading; a script that needs one before has its file sourced now.
bool ensure_script(const QString& name);
bool load_attribute_procs();
