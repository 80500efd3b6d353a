// The canvas: coordinates, zoom and framing, labels, painting and overlays.
#include "button_values.h"
#include "model/scene_data.h"
#include "modal_helper.h"
#include "recording_host.h"
#include "view/picker_mouse_cmd.h"
#include "model/name_list.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QFontMetrics>
#include <QPainter>
#include <QTemporaryDir>
#include <QtTest>

namespace {

buttonAttributes make_button(QPoint pos, int w, int h, QStringList names, quint32 color = 0xff0000,
                             QString label = QString(), int kind = 0)
{
    return button(pos, w, h, kind, 0, color, 0xffffff, label, names);
}

QColor pixel(const QImage& image, int x, int y)
{
    return QColor::fromRgba(image.pixel(x, y));
}

// Renders the view as it paints itself, into a transparent ARGB image.
QImage render(picker_view& view)
{
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    view.render(&image);
    return image;
}

class url_catcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened << url; }
};

} // namespace

class test_view : public QObject {
    Q_OBJECT

private slots:
    // Every pixel of the view: a click hits a button exactly where its
    // shape's fill covers the pixel whole, and misses where nothing of it
    // was drawn (edge pixels may go either way); a small marquee picks the
    // buttons a click inside it would hit. At zooms that land edges on and
    // off pixel boundaries.
    void shapes_hit_where_drawn_data()
    {
        QTest::addColumn<float>("zoom");
        QTest::addColumn<QPoint>("shift");
        QTest::newRow("1") << 1.0f << QPoint(0, 0);
        QTest::newRow("0.6, shifted") << 0.6f << QPoint(7, 3);
        QTest::newRow("1.5") << 1.5f << QPoint(-3, 0);
        QTest::newRow("2.37, shifted") << 2.37f << QPoint(-41, -17);
    }
    void shapes_hit_where_drawn()
    {
        QFETCH(float, zoom);
        QFETCH(QPoint, shift);
        picker_view view(nullptr);
        view.resize(320, 420); // the banner stays below the buttons
        view.show();
        view.setZoom(zoom, QPoint(0, 0));
        view.setShift(shift);
        const QImage ground = render(view);
        const quint32 colours[] = {0xff0000, 0x00ff00, 0x0000ff, 0xffff00, 0x00ffff, 0xff00ff};
        const struct {
            QPoint pos;
            QSize size;
            button_shape shape;
            QVector<QPoint> points;
        } shapes[] = {
            {{25, 20}, {31, 21}, button_shape::rectangle, {}},
            {{75, 20}, {40, 27}, button_shape::rounded, {}},
            {{25, 70}, {37, 29}, button_shape::ellipse, {}},
            // A concave arrow, and a thin triangle scaled by its box.
            {{80, 75}, {46, 40}, button_shape::polygon, {{-23, -5}, {0, -20}, {23, -5}, {8, -5}, {8, 20}, {-8, 20}, {-8, -5}}},
            {{30, 120}, {50, 17}, button_shape::polygon, {{0, 0}, {100, 10}, {3, 30}}},
            {{90, 125}, {13, 13}, button_shape::ellipse, {}},
        };
        int n = 0;
        for (const auto& s : shapes) {
            buttonAttributes a = make_button(s.pos, s.size.width(), s.size.height(), {"o"}, colours[n++]);
            a.shape = qint32(s.shape);
            a.points = s.points;
            view.push_button(a, -1);
        }
        const QImage drawn = render(view);
        int whole = 0, edges = 0;
        for (int y = 0; y < drawn.height(); ++y)
            for (int x = 0; x < drawn.width(); ++x) {
                const QRgb here = drawn.pixel(x, y);
                const int hit = view.find_button_index(QPoint(x, y));
                if (here == ground.pixel(x, y)) {
                    QVERIFY2(hit < 0, qPrintable(QString("button %1 hit at %2, %3 where nothing was drawn")
                                                     .arg(hit).arg(x).arg(y)));
                    continue;
                }
                const int own = int(std::find(std::begin(colours), std::end(colours), here & 0xffffffu)
                                    - std::begin(colours));
                if (own < n && qAlpha(here) == 255) {
                    ++whole;
                    QVERIFY2(hit == own, qPrintable(QString("%1, %2 drawn by button %3, hit %4")
                                                        .arg(x).arg(y).arg(own).arg(hit)));
                } else {
                    ++edges;
                }
            }
        QVERIFY(whole > 20 * edges / 10); // most of the drawing is whole pixels

        for (int y = 0; y + 3 <= drawn.height(); y += 4)
            for (int x = 0; x + 3 <= drawn.width(); x += 4) {
                QSet<int> hits;
                for (int dy = 0; dy < 3; ++dy)
                    for (int dx = 0; dx < 3; ++dx)
                        if (const int i = view.find_button_index(QPoint(x + dx, y + dy)); i >= 0)
                            hits.insert(i);
                QVector<button_id> met;
                view.select_bounds(QRect(x, y, 3, 3), false, &met);
                QSet<int> picked;
                for (button_id id : std::as_const(met))
                    picked.insert(view.page()->row_of(id));
                QVERIFY2(picked == hits, qPrintable(QString("marquee at %1, %2").arg(x).arg(y)));
            }
    }

    // Points map truncating toward zero; a rectangle covers its whole size
    // on screen, and back again every unit the widget rectangle shows a part of.
    void points_and_rectangles_map()
    {
        picker_view view(nullptr);
        const struct {
            bool toPicker; // else to the widget
            double zoom;
            QPoint shift, from, to;
        } points[] = {{true, 2.0, {3, 3}, {10, 10}, {3, 3}},      {true, 2.0, {3, 3}, {0, 0}, {-1, -1}},
                      {true, 4.0, {0, 0}, {-3, 3}, {0, 0}},       {true, 0.25, {-10, 20}, {-11, 19}, {-4, -4}},
                      {false, 1.5, {0, 0}, {-1, -3}, {-1, -4}},   {false, 2.0, {-5, 7}, {2, -2}, {-1, 3}}};
        for (const auto& p : points) {
            view.zoom = p.zoom;
            view.shift = p.shift;
            QCOMPARE(p.toPicker ? view.mapToPicker(p.from) : view.mapToScreen(p.from), p.to);
        }
        view.zoom = 2.0;
        view.shift = QPoint(10, 0);
        QCOMPARE(view.mapToScreen(QRect(0, 0, 10, 5)), QRect(10, 0, 20, 10));
        QCOMPARE(view.mapToScreenF(QRect(0, 0, 10, 5)), QRectF(10, 0, 20, 10));
        QCOMPARE(view.mapToPicker(QRect(10, 0, 21, 9)), QRect(QPoint(0, 0), QPoint(10, 4)));
        QCOMPARE(view.mapToPicker(QRect(9, -1, 2, 2)), QRect(QPoint(-1, -1), QPoint(0, 0)));
        view.zoom = 1.5;
        QCOMPARE(view.mapToScreenF(QRect(1, 1, 2, 2)), QRectF(11.5, 1.5, 3, 3));
        QCOMPARE(view.mapToScreen(QRect(1, 1, 2, 2)), QRect(11, 1, 3, 3));
    }

    // Framing animates in eight ticks along a smoothstep to 0.75 of the view,
    // the selection first; with noZoomIn it may zoom out but never in.
    void framing_animates_to_the_bounds()
    {
        picker_view view(nullptr);
        view.resize(400, 300);
        const auto settle = [](picker_view& v) {
            for (int tick = 0; tick < 8; ++tick)
                v.animate_zoom();
        };
        view.zoomWindow(1.0f, QPoint(0, 0));
        QVERIFY2(!view.animating(), "no animation towards the current state");
        view.frameBounds(QRect(), false);
        QVERIFY(!view.animating());
        view.frame_view(); // no buttons: empty bounds
        QVERIFY(!view.animating());

        view.zoomWindow(3.0f, QPoint(-100, 40));
        double previous = view.zoom;
        for (int tick = 1; tick < 8; ++tick) {
            view.animate_zoom();
            QVERIFY(view.animating());
            QVERIFY(view.zoom > previous && view.zoom < 3.0);
            if (tick == 4) { // halfway through the smoothstep is exactly halfway
                QCOMPARE(view.zoom, 2.0);
                QCOMPARE(view.shift, QPoint(-50, 20));
            }
            previous = view.zoom;
        }
        view.animate_zoom();
        QVERIFY(!view.animating());
        QCOMPARE(view.zoom, 3.0);
        QCOMPARE(view.shift, QPoint(-100, 40));

        // 0.75 * min(400/100, 300/50) = 3, centre (50, 25) to the middle.
        view.zoom = 1.0;
        view.frameBounds(QRect(0, 0, 100, 50), false);
        settle(view);
        QCOMPARE(view.zoom, 3.0);
        QCOMPARE(view.shift, QPoint(200 - 3 * 49, 150 - 3 * 24));
        view.frameBounds(QRect(0, 0, 10, 10), true);
        settle(view);
        QCOMPARE(view.zoom, 3.0);
        view.frameBounds(QRect(0, 0, 4000, 4000), true);
        settle(view);
        QCOMPARE(view.zoom, 0.25);

        // Frame View prefers the selection, partly selected buttons too.
        view.resize(300, 300);
        view.push_button(make_button(QPoint(0, 0), 10, 10, {"a"}), -1);
        view.push_button(make_button(QPoint(200, 100), 20, 20, {"b"}), -1);
        QCOMPARE(view.button_bounds(false), QRect(QPoint(-4, -4), QPoint(210, 110)));
        QCOMPARE(view.button_bounds(true), QRect(0, 0, 0, 0));
        view.page()->set_state(1, 2);
        QCOMPARE(view.button_bounds(true), view.buttons()[1].bounds);
        view.frame_view();
        settle(view);
        QCOMPARE(view.mapToScreen(view.buttons()[1].pos), QPoint(150, 150));
    }

    // Sizes are at least one; a label widens a button but never shrinks it.
    void button_sizes()
    {
        picker_view view(nullptr);
        int i = view.push_button(make_button(QPoint(0, 0), 0, -4, {"a"}), -1);
        QCOMPARE(view.buttons()[i].size, 1);
        QCOMPARE(view.buttons()[i].width, 1);
        QCOMPARE(view.buttons()[i].height, 1);
        view.set_button_size(i, -3, -3);
        QCOMPARE(view.buttons()[i].bounds.size(), QSize(1, 1));
        view.page()->set_width(i, 12);
        QCOMPARE(view.buttons()[i].size, 12);
        QCOMPARE(view.buttons()[i].height, 1);

        i = view.push_button(make_button(QPoint(50, 60), 1, 1, {"b"}, 0xff0000, "ab"), -1);
        QCOMPARE(i, 1); // appended, and said where
        const int th = view.buttons()[i].labelPixmap.height();
        view.set_button_size(i, 200, 3);
        QCOMPARE(view.buttons()[i].bounds.size(), QSize(200, th));
        view.set_button_label(i, QString());
        QVERIFY(view.buttons()[i].labelPixmap.isNull());
        QCOMPARE(view.buttons()[i].bounds.size(), QSize(200, 3));
        QCOMPARE(view.push_button(make_button(QPoint(), 2, 2, {"c"}), 0), 0); // inserted
        QCOMPARE(view.buttons()[0].names, QStringList{"c"});
        QCOMPARE(view.buttons()[2].names, QStringList{"b"});
    }

    void marquee_bounds_and_drawing()
    {
        marquee_overlay m;
        QVERIFY(m.isEmpty());
        m.setAnchor(QPoint(10, 10));
        m.setPoint(QPoint(5, 20));
        QCOMPARE(m.bounds(), QRect(5, 10, 5, 10));
        QVERIFY(!m.isEmpty());

        QImage image(30, 30, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        m.setPoint(QPoint(10, 10));
        m.draw(painter); // anchor equals point: nothing
        QCOMPARE(image.pixel(10, 10), QColor(Qt::black).rgba());
        m.setPoint(QPoint(25, 25));
        m.draw(painter);
        painter.end();
        QCOMPARE(pixel(image, 10, 10), QColor(Qt::white)); // the outline
        QColor inside = pixel(image, 18, 18);
        QVERIFY(inside.red() > 30 && inside.red() < 80); // white at one fifth
        m.reset();
        QVERIFY(m.isEmpty());
    }

    // The banner's links follow the logo with even gaps, in rows beside its
    // badge where the view is narrow, never overlap or leave the view, and
    // open their page only when released on them. The banner lies over the
    // buttons, so a press on it is its own; a view too short for it has none.
    void banner_layout_and_links()
    {
        picker_view view(nullptr);
        banner_overlay* banner = view.overlays.banner();
        QVERIFY(view.overlays.get(0) == view.overlays.marquee());
        QVERIFY(view.overlays.get(2) == nullptr);
        banner->resize(800, 500); // the logo is loaded with the first layout
        const int logo_w = banner_overlay::logo.width();
        const int logo_h = banner_overlay::logo.height();
        QVERIFY(logo_w > 0);
        for (int width : {150, 250, 360, 500, 900}) {
            banner->resize(width, 600);
            QRect last;
            for (const banner_overlay::bannerRecord& link : banner->links) {
                QVERIFY2(!link.shown.isEmpty(), qPrintable(QString("%1 at %2").arg(link.label).arg(width)));
                QVERIFY2(link.rect.top() >= banner->rect.top() && link.rect.left() >= 0 && link.rect.right() < width,
                         qPrintable(link.label));
                const bool same_row = !last.isNull() && link.rect.top() == last.top();
                QVERIFY2(last.isNull() || (same_row ? link.rect.left() > last.right() : link.rect.top() > last.top()),
                         qPrintable(QString("%1 at %2").arg(link.label).arg(width)));
                last = link.rect;
            }
        }
        banner->resize(800, 500);
        QCOMPARE(banner->rect, QRect(0, 500 - logo_h - 3, 800, logo_h + 3));
        QCOMPARE(banner->links.size(), 4);
        QCOMPARE(banner->links[0].label, QString("Learn at Quillmarsh"));
        QCOMPARE(banner->links[3].label, QString("Forums"));
        QCOMPARE(banner->links[0].shown, banner->links[0].label);
        QCOMPARE(banner->links[0].rect.top(), 478);
        QCOMPARE(banner->links[0].rect.bottom(), 500);
        int gap = banner->links[0].rect.left() - logo_w;
        QVERIFY(gap > 10);
        QCOMPARE(banner->links[1].rect.left(), banner->links[0].rect.left() + banner->links[0].rect.width() + gap);

        QVERIFY(banner->click(QPoint(logo_w - 2, 495))); // the logo takes the press, and does nothing
        QVERIFY(banner->click(QPoint(banner->links[0].rect.left() - 2, 495))); // so does the strip between
        QVERIFY(!banner->click(QPoint(banner->links[0].rect.left() + 2, 470))); // above the strip
        QVERIFY(view.mouseCommand() == nullptr);

        url_catcher catcher;
        QDesktopServices::setUrlHandler("https", &catcher, "open");
        QPoint on_blog(banner->links[2].rect.center().x(), 495);
        QVERIFY(banner->click(on_blog));
        QVERIFY(dynamic_cast<track_url_cmd*>(view.mouseCommand()));
        view.mouseCommand()->update(QPoint(0, 0), 0); // released elsewhere: nothing opens
        view.mouseCommand()->finish();
        QVERIFY(catcher.opened.isEmpty());
        view.mouseCommand()->update(on_blog, 0);
        view.mouseCommand()->finish();
        QCOMPARE(catcher.opened.size(), 1);
        QVERIFY(catcher.opened[0].toString().contains("quillmarsh"));
        QDesktopServices::unsetUrlHandler("https");

        // Over a button, the link still takes the press: the banner is on top.
        view.resize(800, 500);
        view.addMouseCommand(nullptr);
        const QPoint on_link(banner->links[0].rect.center().x(), 495);
        view.push_button(make_button(view.mapToPicker(on_link), 20, 20, {"under"}), -1);
        QVERIFY(view.find_button(on_link));
        QVERIFY(banner->click(on_link));
        QVERIFY(dynamic_cast<track_url_cmd*>(view.mouseCommand()));
        view.addMouseCommand(nullptr);

        banner->resize(800, 3 * (logo_h + 3) - 1);
        QVERIFY(banner->rect.isEmpty());
        QVERIFY(!banner->click(QPoint(400, 3 * (logo_h + 3) - 5)));
    }

    // Selection buttons: their colour, lit or not (the ring is
    // test_looks'), square with one name, an ellipse with two and no label.
    // Command buttons: lighter and outlined white when pressed, a gradient
    // and a black outline when not.
    // A lit polygon's ring runs along its edges, not its box: white just
    // outside a slanted edge, nothing in the box's corner beyond it, dashed
    // (some pixels left as they were) when only some objects are selected.
    void rings_follow_the_shape()
    {
        picker_view view(nullptr);
        view.resize(240, 300);
        view.show();
        view.setZoom(2.0f, QPoint(0, 0)); // a ring three pixels wide
        const QImage ground = render(view);
        buttonAttributes a = make_button(QPoint(40, 40), 40, 40, {"a"}, 0x0000ff);
        a.shape = qint32(button_shape::polygon);
        a.points = {{-20, -20}, {20, -20}, {-20, 20}}; // the lower right half is empty
        view.push_button(a, -1);
        view.page()->set_state(0, 1);
        QImage lit = render(view);
        const QRect box = view.mapToScreen(view.buttons()[0].bounds);
        // On the diagonal's normal, two pixels out: the white band.
        const QPoint out = box.center() + QPoint(2, 2);
        QVERIFY2(qGray(lit.pixel(out)) > 200, qPrintable(QColor(lit.pixel(out)).name()));
        for (const QPoint& corner : {box.bottomRight() - QPoint(3, 3), box.bottomRight() + QPoint(2, 2)})
            QCOMPARE(lit.pixel(corner), ground.pixel(corner));
        // Partly selected: a dashed band leaves some of the edge's outside as it was.
        view.page()->set_state(0, 2);
        lit = render(view);
        int white = 0, untouched = 0;
        for (int t = 8; t < box.width() - 8; ++t) {
            // Two pixels out from the edge, the same distance as above.
            const QPoint p(box.left() + t + 1, box.top() + box.height() - t + 1);
            if (lit.pixel(p) == ground.pixel(p))
                ++untouched;
            else if (qGray(lit.pixel(p)) > 200)
                ++white;
        }
        QVERIFY2(white > 5 && untouched > 5, qPrintable(QString("%1 white, %2 untouched").arg(white).arg(untouched)));
    }

    // A picture fills the box it fits, centred and cut to the shape, over
    // the colour and under the label, whether the face is copied from the
    // cache or drawn (a scaled paint); rings and hatching still show.
    void pictures_paint_inside_the_shape_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("cached");
        QTest::newRow("selection, cached") << 0 << true;
        QTest::newRow("selection, drawn") << 0 << false;
        QTest::newRow("command, cached") << 1 << true;
    }
    void pictures_paint_inside_the_shape()
    {
        QFETCH(int, kind);
        QFETCH(bool, cached);
        picker_view view(nullptr);
        view.resize(240, 240);
        view.show();
        view.set_paint_caching(cached);
        view.setZoom(2.0f, QPoint(0, 0));
        QImage icon(20, 10, QImage::Format_RGB32);
        icon.fill(Qt::green);
        buttonAttributes a = make_button(QPoint(40, 40), 40, 40, {"a"}, 0x0000ff, "W", kind);
        a.labelColor = 0xff0000;
        a.shape = qint32(button_shape::ellipse);
        view.push_button(a, -1);
        const QImage ground = render(view); // and the face before the picture
        view.page()->set_picture(0, png_picture::from_image(icon));
        const QImage drawn = cached ? render(view) : view.grab().toImage().convertToFormat(QImage::Format_ARGB32);
        const QRect box = view.mapToScreen(view.buttons()[0].bounds);
        const QPoint c = box.center();
        const auto green = [&drawn](QPoint p) { return drawn.pixel(p) == QColor(Qt::green).rgb(); };
        // 80 x 40 on the screen, rows 20 to 59 of the box.
        QVERIFY(green(c + QPoint(-30, -15)));
        QVERIFY(green(c + QPoint(30, 15)));
        QVERIFY(!green(c + QPoint(0, -25)) && !green(c + QPoint(0, 25)));
        // The picture's corners lie outside the ellipse: the ground shows.
        const QPoint corner = box.topLeft() + QPoint(1, 21);
        QCOMPARE(drawn.pixel(corner), ground.pixel(corner));
        QVERIFY(!view.find_button(corner) && view.find_button(c + QPoint(-30, -15)));
        int red = 0;
        for (int y = c.y() - 12; y <= c.y() + 12; ++y)
            for (int x = c.x() - 12; x <= c.x() + 12; ++x)
                red += qRed(drawn.pixel(x, y)) > 200 && qGreen(drawn.pixel(x, y)) < 80;
        QVERIFY2(red > 10, "the label is drawn over the picture");

        if (kind == 1)
            return;
        view.page()->set_state(0, 1);
        const QImage lit = render(view);
        const QPoint ring = QPoint(c.x(), box.top() - 2);
        QVERIFY(lit.pixel(ring) != ground.pixel(ring));
        QVERIFY(green(c + QPoint(-30, -15)));
        view.page()->set_state(0, 0);
        view.page()->set_missing({"a"});
        const QImage hatched = render(view);
        int lines = 0;
        for (int x = c.x() - 30; x < c.x() + 30; ++x)
            lines += hatched.pixel(x, c.y() + 15) != drawn.pixel(x, c.y() + 15);
        QVERIFY2(lines > 5, "the hatching runs over the picture");
    }

    void paints_button_states()
    {
        picker_view view(nullptr);
        view.resize(200, 200); // the banner stays clear of the buttons
        view.show();
        view.push_button(make_button(QPoint(20, 20), 20, 20, {"a"}, 0x0000ff), -1);
        view.push_button(make_button(QPoint(60, 20), 20, 20, {"a"}, 0x0000ff), -1);
        view.push_button(make_button(QPoint(100, 20), 20, 20, {"a", "b"}, 0x0000ff), -1);
        view.push_button(make_button(QPoint(140, 20), 20, 20, {"a", "b"}, 0x00ff00), -1);
        view.page()->set_state(1, 1);
        view.page()->set_state(2, 2);
        QImage image = render(view);
        QCOMPARE(pixel(image, 20, 20), QColor(0, 0, 255));
        QCOMPARE(pixel(image, 60, 20), QColor(0, 0, 255));
        QCOMPARE(pixel(image, 100, 20), QColor(0, 0, 255));
        QRect one = view.mapToScreen(view.buttons()[0].bounds);
        QCOMPARE(pixel(image, one.left(), one.top()), QColor(0, 0, 255));
        QRect two = view.mapToScreen(view.buttons()[3].bounds);
        QCOMPARE(pixel(image, two.left(), two.top()), QColor(51, 51, 51));
        QCOMPARE(pixel(image, two.center().x(), two.center().y()), QColor(0, 255, 0));
        QCOMPARE(pixel(image, 195, 95), QColor(51, 51, 51));

        view.page()->clear();
        const quint32 navy = 0x000064;
        view.push_button(make_button(QPoint(40, 40), 40, 40, {"print 1"}, navy, QString(), 1), -1);
        view.push_button(make_button(QPoint(120, 40), 40, 40, {"print 2"}, navy, QString(), 1), -1);
        view.page()->set_state(0, 1);
        image = render(view);
        QRect on = view.mapToScreen(view.buttons()[0].bounds);
        QRect off = view.mapToScreen(view.buttons()[1].bounds);
        QCOMPARE(pixel(image, on.center().x(), on.center().y()), QColor(navy).lighter(150));
        QCOMPARE(pixel(image, off.center().x(), off.center().y()), QColor(0, 0, 0x64));
        QVERIFY(pixel(image, on.center().x(), on.top() - 1).red() > 200); // ringed
        QCOMPARE(pixel(image, off.center().x(), off.top()).red(), 0);
        QVERIFY(pixel(image, off.center().x(), off.top() + 1).blue() > 0x64); // lighter top of the gradient
        QVERIFY(pixel(image, off.center().x(), off.bottom() - 1).blue() < 0x64);
    }

    void background_sits_at_the_origin_and_scales()
    {
        picker_view view(nullptr);
        view.resize(100, 100);
        view.show();
        QImage red(20, 20, QImage::Format_RGB32);
        red.fill(Qt::red);
        const png_picture picture = png_picture::from_image(red);
        view.setBackground(QString::number(picture.key()), picture);
        view.zoom = 2.0;
        view.shift = QPoint(10, 10);
        QImage image = render(view);
        // 20 pixels at zoom 2 from 10: exactly 10 to 49.
        QCOMPARE(pixel(image, 9, 9), QColor(51, 51, 51));
        QCOMPARE(pixel(image, 10, 10), QColor(Qt::red));
        QCOMPARE(pixel(image, 49, 49), QColor(Qt::red));
        QCOMPARE(pixel(image, 50, 49), QColor(51, 51, 51));
        QCOMPARE(pixel(image, 49, 50), QColor(51, 51, 51));
    }

    void change_background_through_the_dialog()
    {
        recording_host host;
        QTemporaryDir dir;
        QString file = dir.filePath("back.png");
        QPixmap image(8, 6);
        image.fill(Qt::green);
        QVERIFY(image.save(file));

        picker_window window(nullptr);
        picker_view& view = *window.frontPicker();
        modal_helper::answer_next(file);
        view.change_background();
        QCOMPARE(view.background().size(), QSize(8, 6));
        QCOMPARE(view.backgroundKey(), QString::number(view.background().key()));
        QVERIFY(window.flushSceneData(false));
        QCOMPARE(host.now.size(), 2);
        QCOMPARE(host.now[0], QString("fileInfo \"QuillmarshPickerImage_%1\" \"%2\"; file -modified 1;")
                                  .arg(view.backgroundKey(), QString(encode_image(view.background()))));
        QVERIFY(host.now[1].startsWith("fileInfo \"QuillmarshPickerData\""));
        QCOMPARE(decode_image(encode_image(view.background())).size(), QSize(8, 6));

        // Cancelling the file and declining the question keeps the image.
        host.clear();
        modal_helper::answer_in_turn({QString(), "Cancel"});
        view.change_background();
        QVERIFY(!view.background().isNull());
        QVERIFY(!window.flushSceneData(false));

        // A file that is no image changes nothing.
        QFile junk(dir.filePath("junk.png"));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("not a picture");
        junk.close();
        modal_helper::answer_in_turn({junk.fileName(), "OK"});
        view.change_background();
        QCOMPARE(view.background().size(), QSize(8, 6));
        QVERIFY(!window.flushSceneData(false));

        // Accepting removes the stored image with the background.
        const QString old_key = view.backgroundKey();
        modal_helper::answer_in_turn({QString(), "Yes"});
        view.change_background();
        QVERIFY(view.background().isNull());
        QVERIFY(view.backgroundKey().isEmpty());
        QVERIFY(window.flushSceneData(false));
        QCOMPARE(host.now.value(0),
                 QString("fileInfo -remove \"QuillmarshPickerImage_%1\"; file -modified 1;").arg(old_key));
        QVERIFY(host.now.value(1).startsWith("fileInfo \"QuillmarshPickerData\""));
    }

    void reset_buttons_clears_history_only_when_there_are_buttons()
    {
        picker_view view(nullptr);
        view.undoer()->push(new QUndoCommand("kept"));
        view.reset_buttons();
        QCOMPARE(view.undoer()->count(), 1);
        view.push_button(make_button(QPoint(), 1, 1, {"a"}), -1);
        view.reset_buttons();
        QCOMPARE(view.undoer()->count(), 0);
        QVERIFY(view.buttons().isEmpty());
    }
};

QTEST_MAIN(test_view)
#include "test_view.moc"
