// The main window of the sandbox: what Maya's main window is to the plug-in
// (it docks its picker here), with an outliner, a script editor and the menus.
#pragma once

#include <QFileDialog>
#include <QMainWindow>

#include <cstdint>

// The plug-in's command; run bare, it opens the picker window.
inline constexpr char picker_command[] = "QuillmarshPicker";

class outliner;
class script_editor;
class QMenu;

class sandbox_window : public QMainWindow {
    Q_OBJECT
public:
    // With mirror_output every script-output line is also written to stdout.
    explicit sandbox_window(bool mirror_output);
    ~sandbox_window() override;

    // Session steps shared by the menus and the command line; failures are
    // reported in the script output.
    bool load_plugin(const QString& path);
    void open_scene(const QString& path);
    bool save_scene_to(const QString& path);
    void run_mel(const QString& text, bool echo);
    void run_mel_file(const QString& path);
    void run_python(const QString& text, bool echo, const QString& file = QString());
    void run_python_file(const QString& path);
    void save_screenshot(const QString& path);

    // Runs queued idle texts and pending events until neither is left, then
    // brings the outliner and the title up to date.
    void settle();
    // Quits without asking about a modified scene (a batch run's end).
    void close_unasked();

protected:
    void closeEvent(QCloseEvent* event) override;
    // The host's hotkeys: keys that no widget used end here, wherever they
    // were typed (a floating panel sends on what it leaves).
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Marks a call into the host: idle texts wait until it returns.
    struct host_call {
        explicit host_call(sandbox_window* w);
        ~host_call();
        sandbox_window* window;
    };

    void build_menus();
    void new_scene();
    void choose_scene_to_open();
    bool save_scene();
    bool save_scene_as();
    bool maybe_save();
    void choose_plugin_to_load();
    void fill_unload_menu(QMenu* menu);
    void schedule_drain();
    void schedule_refresh();
    void refresh();
    static void on_scene_replaced(void* self);

    outliner* outliner_;
    script_editor* editor_;
    bool mirror_output_;
    QFileDialog::Options file_dialog_options_;
    int busy_ = 0;
    bool drain_scheduled_ = false;
    bool refresh_scheduled_ = false;
    bool quit_sent_ = false;
    bool unasked_ = false;
    std::uintptr_t opened_callback_ = 0;
    std::uintptr_t new_callback_ = 0;
};
