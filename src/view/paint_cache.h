// What painting keeps between frames: a picture of the canvas (background
// and buttons) of which only what changed is painted again.
#pragma once

#include "model/button_model.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QPoint>
#include <QRegion>
#include <QSize>
#include <QVector>

// The canvas as last painted, and what it showed then. Every paint compares
// the view against it, so any change (an edit, undo, a selection from the
// host, zoom, pan, size, background), whichever path made it, repaints.
class paint_layer {
public:
    struct view_state {
        QSize size;
        qreal ratio = 1;
        QImage::Format format = QImage::Format_Invalid;
        double zoom = 1;
        QPoint shift;
        qint64 background = 0;
        bool operator==(const view_state& o) const
        {
            return size == o.size && ratio == o.ratio && format == o.format && zoom == o.zoom
                && shift == o.shift && background == o.background;
        }
    };

    // How far the picture is behind the view.
    enum class staleness { none, some_buttons, all };
    // What changed: the buttons (in list order) whose look changed where
    // they stand, and apart from them the square buttons whose change lies
    // in their selection ring alone: lit from unlit, or otherwise.
    struct changes {
        QVector<int> buttons;
        QVector<int> rings;
        QVector<int> lit;
        int size() const { return buttons.size() + rings.size() + lit.size(); }
        bool isEmpty() const { return size() == 0; }
        void clear()
        {
            buttons.clear();
            rings.clear();
            lit.clear();
        }
        void add(const changes& more)
        {
            buttons += more.buttons;
            rings += more.rings;
            lit += more.lit;
        }
    };
    // Compares the view with what the picture shows and remembers the view
    // as about to be painted. With some_buttons, `changed` holds what
    // changed; a move, an added or removed button, or most buttons changing
    // make it all. Changes are appended, and a whole repaint empties them.
    staleness compare(const view_state& state, const QList<buttonRecord>& buttons, changes& changed);
    void clear();
    // The view the picture was last painted for, and forgetting it: the
    // next compare then finds everything stale.
    const view_state& state() const { return state_; }
    bool valid() const { return valid_ && !image.isNull(); }
    void invalidate() { valid_ = false; }

    // Where each button lies on the picture, kept from the last full paint
    // (an empty rectangle for a button it did not draw): the buttons whose
    // pixels may meet a rectangle, in list order.
    void index(const QList<buttonRecord>& buttons, const QVector<QRect>& screenRects, const QSize& size);
    void buttons_meeting(const QRect& r, QVector<int>& out) const;
    // The last command button drawn before button i in a whole paint, or
    // -1: shapes pick up the outline pen it leaves.
    int command_before(int i) const { return commandBefore_.value(i, -1); }

    QImage image;
    // The picture without buttons (ground, background, banner), made when a
    // patch first needs it after a whole paint.
    QImage ground;
    bool groundValid = false;

private:
    // What of a button reaches the screen.
    struct print {
        QRect bounds;
        quint32 color = 0;
        quint32 labelColor = 0;
        const void* label = nullptr;
        QSize labelSize;
        qint32 kind = 0;
        qint16 selected = 0;
        bool several = false;
        bool missing = false;
        qint32 shape = 0;
        QVector<QPoint> points;
        double value[2] = {0, 0}; // an attribute button's
        qint64 picture = 0;
    };

    view_state state_;
    QVector<print> prints_;
    bool valid_ = false;

    // A grid of cells over the picture, each listing the buttons meeting it.
    static constexpr int cell = 32;
    int columns_ = 0;
    int rows_ = 0;
    QVector<QVector<int>> cells_;
    QVector<QRect> screen_;
    QVector<int> commandBefore_;
};

// Button faces (shape, fill and outline, without the label) and selection
// rings drawn once per look and size and copied after: a copy costs a
// fraction of drawing the antialiased shape, and every paint, whole or in
// part, copies the same one.
class face_cache {
public:
    struct key {
        QSize size;
        quint32 fill = 0;    // the colour
        quint32 outline = 0; // the pen's colour, 0 with no pen; a ring's width
        quint8 shape = 0;    // the button's shape plus one, marked command or ring
        qint16 selected = 0;
        bool missing = false;
        QVector<QPoint> points; // a polygon's
        // An attribute button's widget and where its values stand, in
        // 1/4096ths of the way (-1: not known); -1 for other buttons.
        qint16 widget = -1;
        qint16 at[2] = {-1, -1};
        // The picture's key: a face holds it scaled to the face's size, so
        // thousands of buttons with one icon at one zoom scale it once.
        qint64 picture = 0;
        bool operator==(const key& o) const
        {
            return size == o.size && fill == o.fill && outline == o.outline && shape == o.shape
                && selected == o.selected && missing == o.missing && points == o.points && widget == o.widget
                && at[0] == o.at[0] && at[1] == o.at[1] && picture == o.picture;
        }
    };
    enum { command = 16, ring = 32 };

    // The face for the key, or null when none is kept yet.
    const QImage* find(const key& k) const;
    const QImage& keep(const key& k, QImage face);

private:
    QHash<key, QImage> faces_;
    qint64 bytes_ = 0;
};

uint qHash(const face_cache::key& k, uint seed = 0);

// Rectangles of a window as the whole tiles they meet, in the order and
// shape QRegion::setRects takes: marking thousands costs next to nothing,
// where merging them into a region one by one grows with the square.
QRegion tiled_region(const QVector<QRect>& rects, const QRect& area);

// Pixel work on 32-bit pictures (premultiplied ARGB or RGB32) as Qt's raster
// engine does it for a pixel-aligned copy, so that a patch made here equals
// what a painter draws. Each call is cut to `clip` and the picture.
namespace pixels {
// The rectangle of `from` onto the same place of `to` (same size and format).
void copy(QImage& to, const QImage& from, const QRect& clip);
// A premultiplied colour laid over.
void fill(QImage& to, const QRect& r, QRgb premultiplied, const QRect& clip);
// A premultiplied picture laid over with its top left at `at`.
void blend(QImage& to, const QImage& from, const QPoint& at, const QRect& clip);
} // namespace pixels
