// What painting keeps between frames: a picture of the canvas (background
// and buttons) of which only what changed is painted again.
#pragma once

#include "model/button_model.h"

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

    // True when the picture still shows this state; otherwise remembers the
    // state as the one about to be painted and returns false.
    bool current(const view_state& state, const QList<buttonRecord>& buttons);
    void clear();
    // Bytes held by the picture and the record of what it shows.
    qint64 bytes() const;

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
};
