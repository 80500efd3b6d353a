// What painting keeps between frames: a picture of the canvas (background
// and buttons) of which only what changed is painted again.
#pragma once

#include "model/button_model.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QPoint>
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
    // Compares the view with what the picture shows and remembers the view
    // as about to be painted. With some_buttons, `changed` holds the buttons
    // (in list order) whose look changed where they stand; a move, an added
    // or removed button, or most buttons changing make it all.
    staleness compare(const view_state& state, const QList<buttonRecord>& buttons, QVector<int>& changed);
    void clear();

    // Where each button lies on the picture, kept from the last full paint
    // (an empty rectangle for a button it did not draw): the buttons whose
    // pixels may meet a rectangle, in list order.
    void index(const QList<buttonRecord>& buttons, const QVector<QRect>& screenRects, const QSize& size);
    void buttons_meeting(const QRect& r, QVector<int>& out) const;
    // The last command button drawn before button i in a whole paint, or
    // -1: shapes pick up the outline pen it leaves.
    int command_before(int i) const { return commandBefore_.value(i, -1); }

    QImage image;

private:
    // What of a button reaches the screen.
    struct print {
        QRect bounds;
        quint32 color = 0;
        quint32 labelColor = 0;
        const void* label = nullptr;
        qint32 kind = 0;
        qint16 selected = 0;
        bool several = false;
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

// Button faces (shape, fill and outline, without the label) drawn once per
// look and size and copied after: a copy costs a fraction of drawing the
// antialiased shape, and every paint, whole or in part, copies the same one.
class face_cache {
public:
    struct key {
        QSize size;
        quint32 fill = 0;    // the colour, or the state's for a lit button
        quint32 outline = 0; // the pen's colour; 0 with no pen
        quint8 shape = 0;    // rounded, ellipse or command button
        qint16 selected = 0;
        bool operator==(const key& o) const
        {
            return size == o.size && fill == o.fill && outline == o.outline && shape == o.shape
                && selected == o.selected;
        }
    };
    enum { rounded = 1, ellipse = 2, command = 3 };

    // The face for the key, or null when none is kept yet.
    const QImage* find(const key& k) const;
    const QImage& keep(const key& k, QImage face);

private:
    QHash<key, QImage> faces_;
    qint64 bytes_ = 0;
};

uint qHash(const face_cache::key& k, uint seed = 0);
