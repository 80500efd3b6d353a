#include "model/button_outline.h"

#include <QPolygonF>

#include <algorithm>
#include <cmath>

namespace {

// The points' own bounding box stretched over `box`: where each point is
// drawn. Coordinates are bounded, so the differences fit.
struct fitting {
    int left, top;
    double sx, sy;
    QPointF origin;

    fitting(const QRectF& box, const QVector<QPoint>& points)
    {
        left = points[0].x();
        top = points[0].y();
        int right = left, bottom = top;
        for (const QPoint& p : points) {
            left = std::min(left, p.x());
            right = std::max(right, p.x());
            top = std::min(top, p.y());
            bottom = std::max(bottom, p.y());
        }
        sx = right > left ? box.width() / double(right - left) : 0;
        sy = bottom > top ? box.height() / double(bottom - top) : 0;
        origin = box.topLeft();
    }
    QPointF operator()(const QPoint& p) const
    {
        return QPointF(origin.x() + (p.x() - left) * sx, origin.y() + (p.y() - top) * sy);
    }
};

QPolygonF fitted_polygon(const QRectF& box, const QVector<QPoint>& points)
{
    QPolygonF polygon;
    if (points.isEmpty())
        return polygon;
    const fitting placed(box, points);
    polygon.reserve(points.size() + 1);
    for (const QPoint& p : points)
        polygon.append(placed(p));
    polygon.append(polygon.first());
    return polygon;
}

// Whether the polygon drawn over `box` holds `at`, even-odd as its path
// fills, without making the polygon: a marquee over thousands of buttons
// asks this of each.
bool polygon_holds(const QRectF& box, const QVector<QPoint>& points, const QPointF& at)
{
    if (points.size() < 3)
        return false;
    const fitting placed(box, points);
    bool inside = false;
    QPointF a = placed(points.last());
    for (const QPoint& p : points) {
        const QPointF b = placed(p);
        if ((a.y() > at.y()) != (b.y() > at.y())
            && at.x() < a.x() + (at.y() - a.y()) * (b.x() - a.x()) / (b.y() - a.y()))
            inside = !inside;
        a = b;
    }
    return inside;
}

} // namespace

QPolygonF outline_points(const QRectF& box, const buttonAttributes& a)
{
    QPolygonF polygon = fitted_polygon(box, a.points);
    if (!polygon.isEmpty())
        polygon.removeLast();
    return polygon;
}

qreal rounded_radius(const QRectF& box, const buttonAttributes& a)
{
    // Command buttons have always had the gentler corners.
    return (a.kind ? 0.05 : 0.2) * std::min(box.width(), box.height());
}

QPainterPath button_outline(const QRectF& box, const buttonAttributes& a, qreal out)
{
    const QRectF r = box.adjusted(-out, -out, out, out);
    QPainterPath path;
    switch (button_shape(a.shape)) {
    case button_shape::ellipse:
        path.addEllipse(r);
        break;
    case button_shape::rounded: {
        const qreal k = std::max(0.0, rounded_radius(box, a) + out);
        path.addRoundedRect(r, k, k, Qt::AbsoluteSize);
        break;
    }
    case button_shape::polygon:
        path.addPolygon(fitted_polygon(box, a.points));
        path.closeSubpath();
        break;
    default:
        if (out > 0)
            path.addRoundedRect(r, out, out, Qt::AbsoluteSize);
        else
            path.addRect(r);
        break;
    }
    return path;
}

bool outline_holds(const QRect& box, const buttonAttributes& a, const QPoint& pixel)
{
    if (!box.contains(pixel))
        return false;
    if (a.shape == qint32(button_shape::rectangle))
        return true;
    const QPointF centre = QPointF(pixel) + QPointF(0.5, 0.5);
    // Filled as its path is, even-odd, without the cost of making one.
    if (a.shape == qint32(button_shape::polygon))
        return polygon_holds(QRectF(box), a.points, centre);
    return button_outline(QRectF(box), a).contains(centre);
}

bool outline_meets_shape(const QRect& box, const buttonAttributes& a, const QRect& area)
{
    const QRect both = box & area;
    if (both.isEmpty())
        return false;
    const QPoint probes[] = {both.center(), both.topLeft(), both.topRight(), both.bottomLeft(), both.bottomRight()};
    if (a.shape == qint32(button_shape::polygon))
        for (const QPoint& p : probes)
            if (polygon_holds(QRectF(box), a.points, QPointF(p) + QPointF(0.5, 0.5)))
                return true;
    // The centres of the pixels, as a click tests them: a shape that meets
    // none of their rectangle holds none of them.
    const QPainterPath path = button_outline(QRectF(box), a);
    const QRectF centres = QRectF(both).adjusted(0.5, 0.5, -0.5, -0.5);
    if (centres.width() > 0 && centres.height() > 0 && !path.intersects(centres))
        return false;
    for (const QPoint& p : probes)
        if (path.contains(QPointF(p) + QPointF(0.5, 0.5)))
            return true;
    // A shape passing between the centres of a few pixels holds none of
    // them; over a large area the meeting alone decides.
    if (qint64(both.width()) * both.height() > 4096)
        return true;
    for (int y = both.top(); y <= both.bottom(); ++y)
        for (int x = both.left(); x <= both.right(); ++x)
            if (path.contains(QPointF(x + 0.5, y + 0.5)))
                return true;
    return false;
}

QRect label_room(const QRect& box, const buttonAttributes& a)
{
    switch (button_shape(a.shape)) {
    case button_shape::ellipse: {
        // The largest box of the same proportions inside an ellipse.
        const int w = int(box.width() / std::sqrt(2.0)), h = int(box.height() / std::sqrt(2.0));
        QRect room(0, 0, w, h);
        room.moveCenter(box.center());
        return room;
    }
    case button_shape::polygon: {
        const QPainterPath path = button_outline(QRectF(box), a);
        const QPointF centre = QRectF(box).center();
        double lo = 0, hi = 1;
        for (int i = 0; i < 10; ++i) {
            const double f = (lo + hi) / 2;
            QRectF r(0, 0, box.width() * f, box.height() * f);
            r.moveCenter(centre);
            (path.contains(r) ? lo : hi) = f;
        }
        QRect room(0, 0, int(box.width() * lo), int(box.height() * lo));
        room.moveCenter(box.center());
        return room;
    }
    default:
        return box;
    }
}
