// One picker tab: the canvas that draws a page (buttons over an optional
// background image), with its own zoom, pan, overlays and undo stack. The
// page holds the data; the view's button calls forward to it.
#pragma once

#include "model/button_model.h"
#include "model/picker_page.h"
#include "view/overlays.h"
#include "view/paint_cache.h"

#include <QList>
#include <QPen>
#include <QPixmap>
#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QStringList>
#include <QTimer>
#include <QUndoStack>
#include <QVarLengthArray>
#include <QKeySequence>
#include <QWidget>

#include <functional>

class QDataStream;
class QKeyEvent;
class QMenu;
class QMouseEvent;
class QWheelEvent;
class QCursor;
class QAction;
class picker_mouse_cmd;
class picker_window;

// Zoom stays within these limits wherever a user or a framing asks for it.
float limitZoom(float z);
// a + s * (b - a), in single precision as the animation needs it.
float mix_fn(float s, float a, float b);
// Rounds halves up: truncate(x + 0.5).
int round_fn(double x);

// Makes the icons, logo and scripts of the picker available; safe to call often.
void init_picker_resources();

class picker_view : public QWidget {
    Q_OBJECT

public:
    // Draws the page, which outlives the view; without one it has its own.
    explicit picker_view(picker_window* window, picker_page* page = nullptr);
    ~picker_view() override;

    // ----- Coordinates: widget = picker * zoom + shift; back again truncated
    QPoint mapToPicker(const QPoint& widget) const;
    QRect mapToPicker(const QRect& widget) const;
    QPoint mapToScreen(const QPoint& picker) const;
    QRect mapToScreen(const QRect& picker) const;
    QRectF mapToScreenF(const QRect& picker) const;

    // ----- Zoom and pan
    void setZoom(float z, const QPoint& anchor);
    // The same for a zoom already within the limits, kept in double.
    void zoom_about(double z, const QPoint& anchor);
    // Zooms by whole steps of zoom_factor (negative: out) about a widget point.
    void zoom_steps(int steps, const QPoint& anchor);
    static constexpr double zoom_factor = 1.0625;
    static constexpr double min_zoom = 0.25;
    static constexpr double max_zoom = 16.0;
    void setShift(const QPoint& s);
    void zoomWindow(float z, const QPoint& newShift);
    QRect button_bounds(bool selectedOnly) const;
    // Zooms and pans so that r fills three quarters of the view's open area;
    // gliding there unless not animated.
    void frameBounds(const QRect& r, bool noZoomIn, bool animated = true);
    // The picture and every button, nearly filling the open area: how a
    // picker opens, and what Reset View comes back to.
    void frame_whole(bool animated);
    QRect whole_bounds() const;
    // The part of the view that framing fills: all of it but what the
    // banner covers along the bottom.
    QRect open_area() const;
    bool any_selected() const;
    bool animating() const { return zoomTimer.isActive(); }
    // Widget pixels a selection ring reaches outside its button: two, more
    // as the zoom makes buttons large and less as it makes them small.
    int ring_reach() const { return zoom >= 2 ? 3 : zoom >= 0.4 ? 2 : 1; }

    // ----- The page drawn
    picker_page* page() const { return page_; }
    // Empty when this picker and its scene can take that many more buttons
    // holding that many names; otherwise why not (see no_room).
    QString no_room_for(qint64 more_buttons, qint64 more_names) const;
    // Whether the scene's pictures (this page's alone without a window)
    // and `more` stay within the pixels a scene holds.
    bool pictures_fit(const QList<png_picture>& more) const;
    const QList<buttonRecord>& buttons() const { return page_->buttons(); }
    const png_picture& background() const { return page_->background(); }
    const QString& backgroundKey() const { return page_->background_key(); }
    void setBackground(const QString& key, const png_picture& picture);

    // ----- Buttons
    // A selection button at a widget point, with the toolbox's look, bound
    // to the host selection.
    buttonAttributes new_button_at(const QPoint& widgetPos) const;
    int push_button(const buttonAttributes& a, int index);
    void pop_button(int index);
    // Empties the page and its history.
    void reset_buttons();
    void set_button_label(int index, const QString& label);
    void set_button_size(int index, int w, int h);

    // Conforms to the host selection as the window knows it.
    bool conform_to_selection();
    // Conforms to the names the view's buttons have selected, so buttons
    // sharing a name light together.
    bool conform_to_selected();
    // Unselects every button, passing each selected name to the host hook.
    void clear_selected();
    // Selects the buttons at the indices (quietly: the host is not told).
    void select_list(const QVector<int>& indices, bool quiet);
    // The attributes of the targeted buttons (what Copy takes), in list order.
    QList<buttonAttributes> getButtons() const;

    // Repaints what changed since the last paint: while the picture still
    // shows this view, the pixels of the buttons whose look changed alone.
    void refresh();
    // With caching on (the default) the canvas is painted into a picture
    // of which later frames repaint only what changed; off, every frame
    // draws every button, which is what the picture must equal.
    void set_paint_caching(bool on);
    // Brings the window's toolbox in line with this view's selection.
    void update_toolbox();
    // Announces that the picker's content changed (scene storage listens).
    void signal_changed();

    // ----- Gestures
    void addMouseCommand(picker_mouse_cmd* command);
    picker_mouse_cmd* mouseCommand() const { return mouseCmd; }
    // Drops a pending or running "Add Many Buttons" and the buttons it laid
    // out; false when none is held.
    bool cancel_add_many();

    // ----- Hit tests: the first match in list order (the one painted underneath)
    const buttonRecord* find_button(const QPoint& widgetPos) const;
    int find_button_index(const QPoint& widgetPos) const;
    int find_button_index_from_label(const QString& label) const;
    int find_button_index_from_object(const QString& name) const;
    // Selects (or with additive only adds) the buttons meeting a widget
    // rectangle; met, when given, receives the ids of all it meets.
    bool select_bounds(const QRect& widgetRect, bool additive, QVector<button_id>* met = nullptr);

    // Runs a command button's script in the host, when it is idle.
    void do_button_action(const buttonAttributes& a);
    // What a plain click on the button does: a command button runs, a
    // selection button becomes the selection, here and in the host.
    void press_button(int index);
    static void run_command(const buttonAttributes& a);
    void nudge_buttons(int dx, int dy);
    void adjustCursor(bool force);
    QMenu* contextMenu() const { return menu; }

    // ----- Namespaces
    // The namespaces the selection buttons' names live in, each with its
    // parents, sorted case-insensitively.
    void collectCurrentNamespace(QStringList& out) const;
    // Asks the user to bind the picker to the scene's namespaces when it
    // uses one the scene lacks (always with force).
    void rebind(QStringList& sceneNamespaces, bool force);
    // Moves every namespace in use (nested ones with their parents) to the
    // first chosen one, as one undo step; false, saying why, when that is
    // not a namespace.
    bool update_namespace(const QStringList& chosen, QString* why = nullptr);

    QUndoStack* undoer() { return &undo; }

    // The .pkr file the picker was loaded from or saved to; empty if none.
    QString path() const { return page_->path(); }
    void setPath(const QString& p) { page_->set_path(p); }

    // Triggers every enabled action of the view bound to the key; only the
    // window's front picker takes keys.
    bool execute_shortcut(QKeyEvent* e);

    picker_window* window;
    picker_mouse_cmd* mouseCmd = nullptr;
    QPoint shift;
    double zoom = 1.0;
    overlay_list overlays;

    struct interpolateRecord {
        float t = 1.0f;
        float startZoom = 1.0f;
        QPoint startShift;
        float endZoom = 1.0f;
        QPoint endShift;
    };

signals:
    // The page changed in what files and the scene keep.
    void changed();

public slots:
    void animate_zoom();
    void reset_view();
    void frame_view();
    // Zooms at once to z (within the limits), with the centre of the buttons
    // whose objects are all selected, or else the whole picker's, in the
    // middle of the open area.
    void zoom_to(double z);
    void change_background();
    // The targeted buttons' picture: chosen from a PNG file (a dialog), or
    // removed. One undo step each.
    void choose_button_picture();
    void remove_button_picture();
    // The targets take the shape, one undo step.
    void set_shape(qint32 shape);
    void add_one_button();
    void add_many_buttons();
    void update_button();
    void delete_button();
    void mirror_buttons();
    void add_command_button();
    void edit_command_later();
    void add_attribute_button();
    void edit_attribute_later();
    void align_horizontal();
    void align_vertical();
    void distribute_horizontal();
    void distribute_vertical();
    void adjust_size_up();
    void adjust_size_down();
    void nudge_left();
    void nudge_right();
    void nudge_up();
    void nudge_down();

protected:
    void paintEvent(QPaintEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void hideEvent(QHideEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseMoveEvent(QMouseEvent* e) override;
    void mouseDoubleClickEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void wheelEvent(QWheelEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;
    void keyReleaseEvent(QKeyEvent* e) override;

    // Canvas colour, background, banner and buttons: everything under the marquee.
    void draw_canvas(QPainter& painter, const QRect& exposed);
    // The same without the buttons.
    void draw_ground(QPainter& painter, const QRect& exposed);
    bool paint_from_layer(QPainter& painter, const QRect& exposed);
    void draw_buttons(QPainter& painter, const QRect& exposed);
    void draw_one_button(QPainter& painter, const buttonRecord& r);
    void draw_command_button(QPainter& painter, const buttonRecord& r);
    void draw_command_face(QPainter& painter, const QRectF& R, const buttonRecord& r);
    void draw_label(QPainter& painter, const buttonRecord& r);
    // Where a label picture drawn for a button box at this density goes:
    // centred in it.
    static QPoint label_origin(const QRect& box, const QImage& label, int density);
    void draw_ring(QPainter& painter, const buttonRecord& r);
    void draw_ring_shape(QPainter& painter, const QRectF& R, const buttonRecord& r);
    // The ring of a lit button of this size, as face_of keeps faces; it is
    // laid with its top left at ring_origin of the box.
    const QImage& ring_of(const buttonRecord& r, const QSize& size, int hints, int density);
    QPoint ring_origin(const QRect& box) const;
    // The picker units whose buttons may reach a widget rectangle.
    QRect ring_cull(const QRect& widget) const;
    bool patch_buttons(const paint_layer::changes& changed, int hints);
    // The widget pixels to lay again for what changed (see paint_layer): a
    // button's reach, the parts of it that changed, and the box of a plain
    // button covering part of it, if any.
    struct patch_area {
        QRect area;
        QVarLengthArray<QRect, 4> clips;
        QRect plain;
        int lit; // the button whose ring was lit, for a ring alone; else -1
    };
    QVector<patch_area> patch_areas(const paint_layer::changes& changed) const;
    // The changed buttons with the shapes drawn with a changed command
    // button's pen, in list order.
    QVector<int> with_pen_followers(const QVector<int>& changed) const;
    // The view's own part of what a picture shows (not the device's).
    void as_now(paint_layer::view_state& state) const;
    // The face a shape or command button of this size copies (see
    // face_cache), drawn with this pen and these hints at this many device
    // pixels a widget pixel when none is kept yet.
    const QImage& face_of(const buttonRecord& r, const QSize& size, const QPen& pen, int hints, int density);
    void draw_selection_face(QPainter& painter, const QRectF& R, const buttonRecord& r);
    static void draw_widget(QPainter& painter, const QRectF& R, const buttonRecord& r);
    static QRgb fill_of(const buttonRecord& r);
    // A selection button drawn as a plain fill of its box.
    static bool plain(const buttonRecord& r);
    // Which face_cache shape the button has.
    static int shape_of(const buttonRecord& r);
    // The widget pixels a button's drawing may touch, its ring included.
    QRect reach(const buttonRecord& r) const;
    // The pen a command button's outline is drawn with, which it leaves set.
    static QPen outline_pen(const buttonRecord& r);

private slots:
    void page_changed(const page_notice& notice);

private:
    // Frames r to fill this share of the open area, centred in it.
    void fit_bounds(const QRect& r, double fill, bool noZoomIn, bool animated);
    // Whether the view is (or is gliding to) where frame_whole last put it.
    bool shows_whole() const;
    void make_menu();
    void show_context_menu(QMouseEvent* e);
    // Makes one button the whole selection, in the host as well.
    void select_alone(int index);
    // Edits the button of this kind under the menu's press in its dialog,
    // one undo step named `step`; false when there is none there.
    bool edit_pressed_button(qint32 kind, const char* step, const std::function<bool(buttonAttributes*)>& dialog);
    QAction* make_action(const QString& text, const char* slot, QList<QKeySequence> keys = {});

    QPoint pressPoint;
    QPoint hoverPoint;
    QString tooltipText;
    QMenu* menu = nullptr;
    QAction* addOneAction = nullptr;
    QAction* addManyAction = nullptr;
    QAction* updateAction = nullptr;
    QAction* deleteAction = nullptr;
    QAction* mirrorAction = nullptr;
    QAction* commandAction = nullptr;
    QAction* pictureAction = nullptr;
    QVector<QAction*> shapeActions;
    QAction* attributeAction = nullptr;
    QAction* removePictureAction = nullptr;
    QCursor* editCursor = nullptr;
    QCursor* addManyCursor = nullptr;
    int modeWord = 0;
    button_id hitButton = 0; // the button the context menu opened on
    // The selection as the last context menu found it (see update_button).
    QStringList menuSelection;
    bool menuSelectionKept = false;
    picker_page* page_;
    QUndoStack undo;
    QTimer zoomTimer;
    interpolateRecord interpolate;
    QPointF exactShift;  // shift before rounding, while it still matches shift
    double zoomBase = 1; // zoom_steps counts whole steps from here
    int zoomStep = 0;
    int wheelRest = 0;   // wheel travel short of a whole notch
    double wholeZoom = -1; // where frame_whole last put the view
    QPoint wholeShift;
    paint_layer layer;
    face_cache faces;
    paint_layer::changes changedButtons; // found changed since the last paint
    quint64 comparedRevision = ~quint64(0); // the page's, when the picture was last compared
    bool paintCaching = true;
};
