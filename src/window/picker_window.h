// The picker window: a menu bar, one tab per picker and the toolbox strip.
// Everything else reaches the interface through it.
#pragma once

#include <QHash>
#include <QMap>
#include <QPixmap>
#include <QPointer>
#include <QRgb>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <functional>

#include "model/picker_book.h"
#include "model/picker_page.h"
#include "model/png_picture.h"
#include "model/scene_text.h"

class QAction;
class QDataStream;
class QHBoxLayout;
class QKeyEvent;
class QKeySequence;
class QLayout;
class QLineEdit;
class QMenu;
class QMenuBar;
class QPushButton;
class QTabWidget;
class QVBoxLayout;
class name_list;
class picker_view;

// A 12 by 12 swatch of the colour.
QIcon make_icon(unsigned int rgb);
// Empties a layout, nested layouts included, deleting its widgets.
void clear_layout(QLayout* layout);
// Splits a configuration line into tokens: bare words, "double" and 'single'
// quoted strings and "=", up to a '#' comment. Returns the token count.
int tokenize(int length, const QString& line, QStringList& tokens);
// Where the recent-pickers list is kept: recent_pickers.cfg beside the
// picker's settings.
QString recent_pickers_path();

class picker_window : public QWidget {
    Q_OBJECT

public:
    explicit picker_window(QWidget* parent);
    ~picker_window() override;

    // The host's selection as the picker knows it, in the order received,
    // with the names the picker's own gestures added since.
    static const QStringList& selection();
    // Whether the name with this id (see name_ids.h) is in it.
    static bool id_selected(int id);

    // Values that new buttons and the toolbox use.
    using toolbox_values = button_look;

    picker_view* frontPicker() const;
    QTabWidget* tabs() const { return tabWidget; }
    // The pages the tabs show, in tab order, and what the scene holds of them.
    picker_book* book() const { return book_; }
    // The tab showing the page; null when none does.
    picker_view* view_of(const picker_page* page) const;
    void reset();
    void connect_picker(picker_view* view);
    // While held (a script's batch mode), each tab's edits are announced
    // once, when the hold ends: the scene is written and the toolbox
    // brought up to date then. Tabs made meanwhile are held too.
    void hold_notices(bool on) { book_->hold_notices(on); }
    bool notices_held() const { return book_->notices_held(); }
    void request_rebind(bool rebind);
    void setWidgetShortcut(QAction* action, const QKeySequence& key) const;

    QRgb currentColor() const { return toolboxState.color; }
    QRgb currentTextColor() const { return toolboxState.labelColor; }
    int currentWidth() const { return toolboxState.width; }
    int currentHeight() const { return toolboxState.height; }
    QString currentLabel() const { return toolboxState.label; }
    const toolbox_values& toolbox() const { return toolboxState; }
    bool toolboxShown() const;

    // ----- Host selection
    // Takes the host's selection in. Unless it is the outcome of the
    // picker's own request (`own`), a change of it makes the lit buttons
    // the targets of edits again, in every tab.
    // full_paths: the host's full path of each name, when it gave them, so
    // that buttons bound by a longer path to the same object light too.
    void setSelection(const QStringList& names, bool own = false, const QStringList& full_paths = QStringList());
    // Whether a selection directive asked for these names because the
    // picker posted them; each post is recognised once.
    bool take_own_post(const QStringList& asked);
    // Picker > Follow Selection: a selection the animator makes in the host
    // brings up the tab driving its character, or rebinds one that fits it.
    bool follows_selection() const { return following; }
    void set_follow_selection(bool on);
    // The user's choice as the settings keep it, with or without a window.
    static bool follow_setting();
    static void store_follow_setting(bool on);
    // Whether the animator is in the middle of an edit (a gesture, a
    // dialog, the label field, Control held over the canvas): the tabs
    // stay as they are then.
    bool editing() const;
    // Clears every tab's lit buttons and picks: the picker makes a new
    // selection of its own.
    void clearAllSelected();
    // Makes every tab pick nothing, so that the buttons a gesture picks
    // next are the only targets.
    void clear_picks();
    // Makes the view's buttons with these ids the picker's selection and
    // its picks, lit with the buttons sharing their objects, and tells the
    // host; names in leaveOut (objects the scene lacks) are not sent.
    void select_buttons(picker_view* view, const QVector<button_id>& ids,
                        const QStringList& leaveOut = QStringList());
    // The objects of a selection button that the scene does not have, in
    // its order; none for a command button.
    static QStringList missing_objects(const buttonAttributes& button);
    // Replaces the name list (what the picker sends the host) as it stands.
    static void set_selection_names(const QStringList& names, const QStringList& full_paths = QStringList());
    // The list itself, which buttons add their names to as they are selected.
    static name_list& selection_list();
    // While one lives, names dropped from the list leave it in one pass at
    // the end, so selecting or clearing thousands of buttons stays linear.
    class selection_batch {
    public:
        selection_batch();
        ~selection_batch();
        selection_batch(const selection_batch&) = delete;
        selection_batch& operator=(const selection_batch&) = delete;
    };
    bool postSelection();
    // How often the views were brought in line with the host's selection.
    int selection_updates() const { return selectionUpdates; }
    // Only these characters can reach the host in a selection command.
    static bool is_object_name(const QString& name);
    // Marks the buttons holding objects the scene lacks, as the host tells:
    // once when next idle however often asked before (after the host's
    // selection, the scene or a picker's bindings changed), or at once.
    void check_objects_later();
    void check_objects();

    // ----- Scene storage, kept by the book (see picker_book.h)
    bool flushSceneData(bool force) { return book_->flush(force); }
    void adoptScene(const QByteArray& text, const QSet<QString>& images = QSet<QString>())
    {
        book_->adopt(text, images);
    }
    const QSet<QString>& sceneImageKeys() const { return book_->scene_image_keys(); }
    QStringList load_scene_pictures(const std::function<QByteArray(const QString& entry)>& entry)
    {
        return book_->load_scene_pictures(entry);
    }
    QList<png_picture> scene_pictures(const picker_view* except = nullptr,
                                      const QString& except_key = QString()) const;
    QByteArray encodedSceneData() const { return book_->encoded(); }
    QVector<const picker_page*> pages() const { return book_->pages(); }
    bool sceneChangePending() const { return book_->change_pending(); }
    void keepNewerScene() { book_->keep_newer(); }
    void setBackgroundImage(const QString& key, const png_picture& picture)
    {
        book_->set_background_image(key, picture);
    }
    bool place_background(picker_view* view, const QString& key, const png_picture& picture);
    // Renames a tab: its page, which files and the scene keep, and the tab bar.
    void set_tab_text(int index, const QString& text) { book_->rename(index, text); }
    // The tab's name as files, the scene and scripts know it; the tab bar
    // shows it with a mark while its picker has changes no file holds.
    QString tab_name(int index) const;

    // ----- Streams: every tab, for the scene
    void streamTo(QDataStream& out) const { book_->stream_to(out); }
    // Replaces the tabs; data of a version this picker does not read is
    // refused with a warning, and the tabs are kept.
    void streamFrom(QDataStream& in);
    const QString& lastStreamDamage() const { return book_->last_damage(); }
    bool lastStreamTooNew() const { return book_->last_too_new(); }
    // Shows the warning about data a restore could not read. Never from
    // inside a host callback, where Maya may still be opening a file.
    void show_stream_notice(const QString& text);

    // ----- Files
    // Reads "name = path" lines into the recent-pickers entries of the File menu.
    void parse_picker_config(const QString& path);
    void add_recent(const QString& name, const QString& path);
    const QMap<QString, QString>& recentPickers() const { return recent; }
    // The recent pickers' names as the File menu lists them.
    const QStringList& recentNames() const { return recentOrder; }
    // A picker just opened or saved goes to the top of the recent list,
    // which keeps the newest max_recent and is written back to its file.
    void note_recent(const QString& name, const QString& path);
    static constexpr int max_recent = 10;
    bool do_save(picker_view* view, const QString& path);
    // Asks where to save the view's picker (starting in the folder last
    // used), adding ".pkr" to a name without it, and saves it there. False
    // when cancelled or failed.
    bool save_view_as(picker_view* view);
    // Tabs closed this session, newest first: what Reopen Closed Tab brings back.
    struct closed_tab {
        QString name, path, key;
        png_picture picture;
        QList<buttonAttributes> buttons;
        bool modified = false;
    };
    const QList<closed_tab>& closedTabs() const { return closed; }
    static constexpr int max_closed = 10;
    void load_one_picker(const QString& path);
    void load_pickers(const QStringList& paths);

    bool execute_shortcut(QKeyEvent* e);
    // Frames the view's picture and buttons before it is next painted (at
    // once when it is showing): a restored or opened picker starts in full
    // view.
    void frame_when_shown(picker_view* view);
    void frame_all_when_shown();
    // Frames the picture and all buttons.
    static void frame_all(picker_view* view);

    // The stored window size is honoured even below what the toolbox would
    // like; a narrow picker just clips its toolbox.
    QSize minimumSizeHint() const override;

    // ----- Scripts
    // The oldest opened picker still waiting for its namespaces to be bound,
    // else the front picker.
    picker_view* take_picker_to_bind();

signals:
    // File > Exit Picker: whatever holds the window closes it.
    void exit_requested();

public slots:
    // Shows the front picker's targets' values, or without targets the
    // look of new buttons, and makes them what new buttons get.
    void updateControls();
    void set_button_color(QRgb which);
    void set_label_color(QRgb which);
    void set_button_width(QAction* action);
    void set_button_height(QAction* action);
    void set_button_label();
    void toggle_toolbox();
    void about_dialog();
    void open_recent_file();
    void do_color_menu();
    void do_labelcolor_menu();
    void add_one_button();
    void add_many_buttons();
    void update_button();
    void change_background();
    void change_namespace();
    void updateEditMenu();
    void updateFileMenu();
    void updatePickerMenu();
    void do_undo();
    void do_redo();
    void open_tab();
    // Closes the tab, first asking to save a picker with changes no file
    // holds. False when it stays open.
    bool close_one(int index);
    void close_current();
    // Brings the newest closed tab back, into the scene too. False, with a
    // warning, when none is left or the scene has no room for it.
    bool reopen_closed_tab();
    void updateSceneData();
    void request_save();
    void request_saveas();
    void cut_buttons();
    void copy_buttons();
    void paste_buttons();
    void paste_inplace_buttons();
    void save_current();
    void saveas_current();
    // False, with a warning, when the scene holds all the tabs it may.
    bool new_tab();
    void rename_tab();
    void close_tab(int index);
    void clear_tabs();

private slots:
    // The actions' enabled states and texts follow the front picker's undo
    // stack and the clipboard as they change; the selection is checked when
    // a menu opens or a key comes.
    void update_actions();
    void update_undo_actions();
    void update_selection_actions();
    void update_paste_actions();
    // Puts the keys on the front canvas when they are nowhere in particular.
    void settle_focus();

protected:
    bool event(QEvent* e) override;
    bool eventFilter(QObject* watched, QEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;
    void keyReleaseEvent(QKeyEvent* e) override;

private:
    void make_menus();
    void make_toolbox();
    void keep_keys_on_canvas();
    // The front picker, when keys may act on it.
    picker_view* canvas_for_keys() const;
    // Whether the window or its front canvas binds the key.
    bool owns_key(const QKeySequence& key) const;
    // Lets a key the picker does not use go on to the host.
    void pass_key_on(QKeyEvent* e);
    QAction* add_item(QMenu* menu, const QString& text, const char* slot, QObject* receiver = nullptr);

    QTabWidget* tabWidget = nullptr;
    QMenuBar* menuBar = nullptr;
    QMenu* fileMenu = nullptr;
    QMenu* editMenu = nullptr;
    QMenu* pickerMenu = nullptr;
    QMenu* helpMenu = nullptr;

    QPushButton* colorButton = nullptr;
    QPushButton* widthButton = nullptr;
    QPushButton* heightButton = nullptr;
    QLineEdit* labelEdit = nullptr;
    QPushButton* labelColorButton = nullptr;
    QHBoxLayout* toolboxLayout = nullptr;

    QAction* newAction = nullptr;
    QAction* openAction = nullptr;
    QAction* saveAction = nullptr;
    QAction* saveAsAction = nullptr;
    QAction* renameAction = nullptr;
    QAction* closeAction = nullptr;
    QAction* reopenAction = nullptr;
    QAction* exitAction = nullptr;

    QAction* undoAction = nullptr;
    QAction* redoAction = nullptr;
    QAction* copyAction = nullptr;
    QAction* cutAction = nullptr;
    QAction* pasteAction = nullptr;
    QAction* pasteInPlaceAction = nullptr;

    QAction* addOneAction = nullptr;
    QAction* addManyAction = nullptr;
    QAction* updateAction = nullptr;
    QAction* backgroundAction = nullptr;
    QAction* namespaceAction = nullptr;
    QAction* followAction = nullptr;

    QAction* toolboxAction = nullptr;

    QMap<QString, QString> recent;
    QStringList recentOrder;
    QString recentToWrite; // the list's file text not written yet; null when written
    void write_recent();
    QList<QAction*> recentActions;
    QAction* recentSeparator = nullptr;
    QVBoxLayout* mainLayout = nullptr;
    toolbox_values toolboxState;
    bool closing = false;
    bool following = false;
    // While a followed selection changes the tab: the keys stay where they are.
    bool followingNow = false;
    bool followQueued = false;
    // The namespace of the last selection no tab could follow, and the
    // tabs' names then: the next selection there need not ask the host again.
    QStringList followSeen; // the host's selection as last taken in
    QString followMiss;
    QVector<quint64> followMissStamps;
    void follow(const QStringList& names);
    // The tab bar's text and tip of every tab, once the event loop is
    // back: a script adding thousands of buttons asks for it each time.
    void show_tab_names_later();
    bool tabNamesPending = false;
    bool objectCheckPending = false;
    QList<closed_tab> closed;
    // Keeps a closed tab for reopening, within max_closed tabs and the
    // picture bytes one scene may show.
    void keep_closed(const picker_view* view);
    // The tab bar's text and tip for the view: its name, marked while modified.
    void show_tab_name(picker_view* view);
    // After a save: the tab is no longer modified, and the host's output says so.
    void saved(picker_view* view, const QString& path);
    picker_book* book_ = nullptr;
    // Views for the book's pages as they come and go.
    void page_added(int index);
    void page_removing(int index);
    bool buildingToolbox = false;
    int selectionUpdates = 0;
    // What postSelection sent, oldest first, until the host runs it.
    QList<QStringList> ownPosts;
    // The look of new buttons while no button is targeted; the toolbox
    // shows and sets it then.
    button_look newLook;
};
