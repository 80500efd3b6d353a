// The outline of a button's shape where it is drawn: what is painted,
// hit by a click or a point address, and met by a marquee.
#pragma once

#include "model/button_model.h"

#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRect>
#include <QRectF>

// The outline of `a` drawn over `box`, grown by `out` on every side (a
// negative `out` shrinks it). A polygon's bounding box is stretched over
// the box; it grows only by zero.
QPainterPath button_outline(const QRectF& box, const buttonAttributes& a, qreal out = 0);
// A polygon's points as drawn over `box`, in its coordinates.
QPolygonF outline_points(const QRectF& box, const buttonAttributes& a);
// The corner radius of a rounded button drawn over `box`.
qreal rounded_radius(const QRectF& box, const buttonAttributes& a);

// The pixel whose top left corner is `pixel` (box coordinates: widget or
// picker pixels) belongs to the button when its centre lies in the shape.
bool outline_holds(const QRect& box, const buttonAttributes& a, const QPoint& pixel);
// Some pixel of `area` belongs to the button.
bool outline_meets_shape(const QRect& box, const buttonAttributes& a, const QRect& area);
// Inline for what a marquee over thousands of buttons mostly meets: boxes,
// and buttons whose whole box it holds, which it picks whatever their
// shape (so a polygon too thin to hold a pixel's centre is still picked).
inline bool outline_meets(const QRect& box, const buttonAttributes& a, const QRect& area)
{
    if (!box.intersects(area))
        return false;
    if (a.shape == qint32(button_shape::rectangle) || area.contains(box))
        return true;
    return outline_meets_shape(box, a, area);
}

// The centred part of `box` a label is laid out in: the box itself for
// boxes, the largest centred box of its proportions inside an ellipse or
// polygon (empty when the centre is outside the polygon).
QRect label_room(const QRect& box, const buttonAttributes& a);
