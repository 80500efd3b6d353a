// The canvas picture kept between frames: on random pickers, whatever changed
// and by whichever path, a cached frame equals a frame drawn button by button.
#include "edit/button_commands.h"
#include "edit/property_commands.h"
#include "model/name_list.h"
#include "view/picker_view.h"

#include <QBackingStore>
#include <QFontMetricsF>
#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <functional>

namespace {

const QStringList some_labels = {"", "", "L_arm", "R_arm", "IK", "head_ctrl", "HH", "\u00c4g", "x",
                                 "a label long enough to be cut at the edge of its picture"};

buttonAttributes random_button(QRandomGenerator& rng, const QSize& area)
{
    buttonAttributes a;
    a.pos = QPoint(rng.bounded(area.width()), rng.bounded(area.height()));
    a.size = a.width = 4 + rng.bounded(40);
    a.height = 4 + rng.bounded(30);
    a.kind = rng.bounded(4) == 0 ? 1 : 0;
    a.language = 0;
    a.color = rng.generate() & 0xffffff;
    const quint32 label_colors[] = {0xffffff, 0x000000, rng.generate() & 0xffffff};
    a.labelColor = label_colors[rng.bounded(3)];
    a.label = some_labels[rng.bounded(some_labels.size())];
    const int names = a.kind ? 1 : rng.bounded(4);
    for (int i = 0; i < names; ++i)
        a.names << QString("n%1").arg(rng.bounded(40));
    // Every shape, polygons with a concave notch among them.
    a.shape = qint32(rng.bounded(button_shape_count));
    if (a.shape == qint32(button_shape::polygon))
        a.points = {{-10, -8}, {10, -8}, {10, 8}, {0, rng.bounded(-8, 8)}, {-10, 8}};
    return a;
}

void fill(picker_view& view, quint32 seed, int count)
{
    QRandomGenerator rng(seed);
    for (int i = 0; i < count; ++i)
        view.push_button(random_button(rng, QSize(260, 200)), -1);
    for (int k = 0; k < view.buttons().size(); ++k)
        view.page()->set_state(k, qint16(rng.bounded(3)));
}

QImage render(picker_view& view, QImage::Format format, int ratio = 1)
{
    QImage image(view.size() * ratio, format);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    view.render(&image);
    return image;
}

// The frame drawn button by button, leaving the cache as it was.
QImage uncached(picker_view& view, QImage::Format format, int ratio = 1)
{
    view.set_paint_caching(false);
    QImage image = render(view, format, ratio);
    view.set_paint_caching(true);
    return image;
}

// The largest difference of one channel between two frames of one size.
int largest_difference(const QImage& a, const QImage& b)
{
    int most = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            for (int shift : {0, 8, 16, 24})
                most = std::max(most, std::abs(int((p >> shift) & 0xff) - int((q >> shift) & 0xff)));
        }
    return most;
}

QString first_difference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return "sizes differ";
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y))
                return QString("pixel (%1, %2): %3 against %4")
                    .arg(x).arg(y).arg(a.pixel(x, y), 8, 16, QChar('0')).arg(b.pixel(x, y), 8, 16, QChar('0'));
    return QString();
}

using change = std::function<void(picker_view&, QRandomGenerator&)>;

QVector<int> random_indices(picker_view& view, QRandomGenerator& rng)
{
    QVector<int> indices;
    for (int i = 0; i < view.buttons().size(); ++i)
        if (rng.bounded(3) == 0)
            indices << i;
    return indices;
}

// Selects a random third of the buttons quietly, as the commands expect.
void select_some(picker_view& view, QRandomGenerator& rng)
{
    view.page()->clear_selected(true);
    view.select_list(random_indices(view, rng), true);
}

} // namespace

Q_DECLARE_METATYPE(change)

class test_paint : public QObject {
    Q_OBJECT

private slots:
    void cached_frame_equals_drawn_frame_data()
    {
        QTest::addColumn<change>("edit");
        QTest::newRow("nothing") << change([](picker_view&, QRandomGenerator&) {});
        QTest::newRow("zoom about a point") << change([](picker_view& v, QRandomGenerator& rng) {
            v.setZoom(float(0.3 + rng.bounded(30) / 10.0), QPoint(rng.bounded(300), rng.bounded(200)));
        });
        QTest::newRow("pan") << change([](picker_view& v, QRandomGenerator& rng) {
            v.setShift(QPoint(rng.bounded(81) - 40, rng.bounded(81) - 40));
        });
        QTest::newRow("zoom written directly") << change([](picker_view& v, QRandomGenerator&) { v.zoom *= 1.5; });
        QTest::newRow("animation tick") << change([](picker_view& v, QRandomGenerator&) {
            v.zoomWindow(2.0f, QPoint(-50, -30));
            v.animate_zoom();
            v.animate_zoom();
        });
        QTest::newRow("resize") << change([](picker_view& v, QRandomGenerator&) { v.resize(v.width() + 37, v.height() - 11); });
        QTest::newRow("background") << change([](picker_view& v, QRandomGenerator& rng) {
            QImage image(120, 90, QImage::Format_ARGB32);
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    image.setPixel(x, y, qRgba(x * 2, y * 2, int(rng.bounded(256)), 255));
            const png_picture picture = png_picture::from_image(image);
            v.setBackground(QString::number(picture.key()), picture);
        });
        // Frames painted after each change, each repainting only what changed.
        QTest::newRow("host selections in turn") << change([](picker_view& v, QRandomGenerator& rng) {
            QImage frame(v.size(), QImage::Format_ARGB32_Premultiplied);
            for (int turn = 0; turn < 6; ++turn) {
                QStringList set;
                for (int i = 0; i < 40; ++i)
                    if (rng.bounded(3) == 0)
                        set.append(QString("n%1").arg(i));
                name_list::picker().assign(set);
                v.conform_to_selection();
                v.render(&frame);
            }
        });
        QTest::newRow("select list") << change([](picker_view& v, QRandomGenerator& rng) { select_some(v, rng); });
        QTest::newRow("clear selection") << change([](picker_view& v, QRandomGenerator&) {
            v.page()->clear_selected(true);
        });
        QTest::newRow("objects missing from the scene") << change([](picker_view& v, QRandomGenerator& rng) {
            QSet<QString> missing;
            for (int i = 0; i < 40; ++i)
                if (rng.bounded(4) == 0)
                    missing.insert(QString("n%1").arg(i));
            v.page()->set_missing(missing);
        });
        QTest::newRow("one state written directly") << change([](picker_view& v, QRandomGenerator& rng) {
            const int k = int(rng.bounded(v.buttons().size()));
            v.page()->set_state(k, qint16((v.buttons()[k].selected + 1) % 3));
        });
        QTest::newRow("label") << change([](picker_view& v, QRandomGenerator& rng) {
            v.set_button_label(int(rng.bounded(v.buttons().size())), some_labels[rng.bounded(some_labels.size())] + "!");
        });
        QTest::newRow("size") << change([](picker_view& v, QRandomGenerator& rng) {
            v.set_button_size(int(rng.bounded(v.buttons().size())), 5 + rng.bounded(50), 5 + rng.bounded(30));
        });
        QTest::newRow("names") << change([](picker_view& v, QRandomGenerator&) {
            for (int k = 0; k < v.buttons().size(); ++k)
                if (v.buttons()[k].kind == 0)
                    v.page()->set_names(k, v.buttons()[k].names.size() < 2 ? QStringList{"a", "b"} : QStringList{"a"});
        });
        QTest::newRow("kind") << change([](picker_view& v, QRandomGenerator& rng) {
            const int k = int(rng.bounded(v.buttons().size()));
            buttonAttributes a = v.buttons()[k];
            a.kind = 1 - a.kind;
            v.page()->set_attributes(k, a);
        });
        QTest::newRow("colour command and undo") << change([](picker_view& v, QRandomGenerator& rng) {
            select_some(v, rng);
            v.undoer()->push(new change_color_cmd(v.page(), rng.generate() & 0xffffff));
            if (rng.bounded(2))
                v.undoer()->undo();
        });
        QTest::newRow("label command and undo") << change([](picker_view& v, QRandomGenerator& rng) {
            select_some(v, rng);
            v.undoer()->push(new change_label_cmd(v.page(), "new"));
            if (rng.bounded(2))
                v.undoer()->undo();
        });
        QTest::newRow("nudge and undo") << change([](picker_view& v, QRandomGenerator& rng) {
            select_some(v, rng);
            v.nudge_buttons(3, -2);
            if (rng.bounded(2))
                v.undoer()->undo();
        });
        QTest::newRow("delete and undo") << change([](picker_view& v, QRandomGenerator& rng) {
            select_some(v, rng);
            v.undoer()->push(new delete_buttons_cmd(v.page()));
            if (rng.bounded(2))
                v.undoer()->undo();
        });
        QTest::newRow("push and pop") << change([](picker_view& v, QRandomGenerator& rng) {
            v.push_button(random_button(rng, QSize(260, 200)), rng.bounded(v.buttons().size()));
            v.pop_button(rng.bounded(v.buttons().size()));
        });
    }
    void cached_frame_equals_drawn_frame()
    {
        QFETCH(change, edit);
        const QImage::Format formats[] = {QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB32};
        for (quint32 seed = 1; seed <= 6; ++seed) {
            picker_view view(nullptr);
            view.resize(300 + int(seed) * 7, 220);
            view.show();
            fill(view, seed, 60);
            QRandomGenerator rng(seed * 977);
            view.zoom = 0.5 + 0.4 * seed;
            view.shift = QPoint(int(seed) * 9 - 30, 15 - int(seed) * 5);
            const QImage::Format format = formats[seed % 2];
            const int ratio = seed % 3 == 0 ? 2 : 1; // a high-density screen
            render(view, format, ratio); // the picture now holds the state before the edit
            edit(view, rng);
            const QImage drawn = uncached(view, format, ratio);
            const QImage cached = render(view, format, ratio);
            // Repainting only what changed cuts neighbours with a clip, and
            // Qt rasterises a curve cut by a clip a unit of colour apart at
            // some edge pixels; anything a repaint missed is far more.
            QVERIFY2(largest_difference(cached, drawn) <= 2,
                     qPrintable(QString("seed %1: %2").arg(seed).arg(first_difference(cached, drawn))));
            // And again from the picture alone.
            QVERIFY(render(view, format, ratio) == cached);
        }
    }

    void part_of_the_frame_comes_from_the_whole_picture()
    {
        picker_view view(nullptr);
        view.resize(300, 220);
        view.show();
        fill(view, 11, 80);
        const QImage whole = uncached(view, QImage::Format_ARGB32_Premultiplied);
        render(view, QImage::Format_ARGB32_Premultiplied);
        view.page()->set_state(3, qint16((view.buttons()[3].selected + 1) % 3));
        const QImage whole_after = uncached(view, QImage::Format_ARGB32_Premultiplied);
        QVERIFY(whole_after != whole);
        // A part around the changed button, reaching past the view's edges.
        const QRect part = view.mapToScreen(view.buttons()[3].bounds).adjusted(-30, -20, 30, 20) & view.rect();
        QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        view.render(&image, part.topLeft(), QRegion(part));
        QCOMPARE(image.copy(QRect(part.topLeft(), part.size())), whole_after.copy(part));
    }

    // What a window shows after Qt repaints only what the view marked as
    // changed equals a view just made with the same edits, drawn button by
    // button: the marked region covers every changed pixel.
    void window_repaints_what_changed()
    {
        using edit = std::function<void(picker_view&, QRandomGenerator&)>;
        const edit edits[] = {
            [](picker_view& v, QRandomGenerator& rng) {
                QStringList set;
                for (int i = 0; i < 40; ++i)
                    if (rng.bounded(3) == 0)
                        set.append(QString("n%1").arg(i));
                name_list::picker().assign(set);
                if (v.conform_to_selection())
                    v.refresh();
            },
            [](picker_view& v, QRandomGenerator& rng) { // a command button's outline pen changes too
                for (int k = 0; k < v.buttons().size(); ++k)
                    if (rng.bounded(4) == 0)
                        v.page()->set_color(k, rng.generate() & 0xffffff);
            },
            [](picker_view& v, QRandomGenerator& rng) {
                v.page()->set_label_color(int(rng.bounded(v.buttons().size())), rng.generate() & 0xffffff);
            },
            [](picker_view& v, QRandomGenerator& rng) { // a label of another size
                v.page()->set_label(int(rng.bounded(v.buttons().size())), some_labels[rng.bounded(some_labels.size())]);
            },
            [](picker_view& v, QRandomGenerator& rng) {
                v.page()->set_state(int(rng.bounded(v.buttons().size())), qint16(rng.bounded(3)));
                v.refresh();
            },
            [](picker_view& v, QRandomGenerator& rng) { // objects leave the scene and come back
                QSet<QString> missing;
                for (int i = 0; i < 40; ++i)
                    if (rng.bounded(5) == 0)
                        missing.insert(QString("n%1").arg(i));
                if (v.page()->set_missing(missing))
                    v.refresh();
            },
        };
        for (quint32 seed = 1; seed <= 3; ++seed) {
            picker_view view(nullptr), fresh(nullptr);
            for (picker_view* v : {&view, &fresh}) {
                v->resize(320, 240);
                fill(*v, seed, 90);
                v->zoom = 0.6 + 0.5 * seed;
            }
            view.show();
            fresh.show();
            QVERIFY(QTest::qWaitForWindowExposed(&view));
            auto* window = static_cast<QImage*>(view.backingStore()->paintDevice());
            for (int turn = 0; turn < 24; ++turn) {
                QRandomGenerator a(seed * 100 + turn), b(seed * 100 + turn);
                edits[turn % 6](view, a);
                edits[turn % 6](fresh, b);
                QCoreApplication::sendPostedEvents(&view, QEvent::UpdateRequest);
                const QImage drawn = uncached(fresh, window->format());
                QVERIFY2(*window == drawn, qPrintable(QString("seed %1, turn %2: %3")
                                                          .arg(seed).arg(turn).arg(first_difference(*window, drawn))));
            }
        }
    }

    void labels_are_measured_on_load_and_drawn_when_painted()
    {
        picker_view view(nullptr);
        view.resize(200, 100);
        view.show();
        QFont font("Tahoma", -1, -1, false);
        font.setPixelSize(16);
        font.setStyleStrategy(QFont::NoAntialias);
        QRandomGenerator rng(5);
        for (int i = 0; i < 300; ++i) {
            buttonAttributes a = random_button(rng, QSize(2000, 2000));
            a.label = QString("lbl%1").arg(i % 50);
            a.labelColor = 0xffffff;
            a.pos = QPoint(i < 3 ? 50 + 40 * i : 5000 + i * 50, 50); // three in sight
            view.push_button(a, -1);
        }
        for (const buttonRecord& r : view.buttons()) {
            QVERIFY(!r.labelPixmap.isRendered());
            // Measured by advance and line, as Qt 5 and Qt 6 agree on those.
            const QFontMetricsF metrics(font);
            const QSize text(int(std::ceil(metrics.horizontalAdvance(r.label))),
                             int(std::ceil(metrics.ascent())) + int(std::ceil(metrics.descent())));
            const QSize picture(text.width() + text.width() % 2 + 2, text.height() + text.height() % 2);
            QCOMPARE(r.labelPixmap.size(), picture);
            // A polygon keeps its outline; its label is shortened instead.
            if (r.shape == qint32(button_shape::polygon))
                QCOMPARE(r.bounds.size(), QSize(r.width, r.height));
            else
                QCOMPARE(r.bounds.size(),
                         QSize(std::max(picture.width() + 2, r.width), std::max(picture.height(), r.height)));
        }
        // Same text and colour: one picture.
        QCOMPARE(view.buttons()[0].labelPixmap.id(), view.buttons()[50].labelPixmap.id());
        render(view, QImage::Format_ARGB32_Premultiplied);
        QVERIFY(view.buttons()[0].labelPixmap.isRendered());
        QVERIFY(!view.buttons()[10].labelPixmap.isRendered());
    }

    // A label enlarged by the zoom (or a dense screen) is drawn at that
    // size, not as its 16 pixel picture blown up, whose rows would come in
    // runs of identical ones: most rows of a sharp label differ from the
    // one above.
    void labels_stay_sharp_when_zoomed_data()
    {
        QTest::addColumn<double>("zoom");
        QTest::addColumn<int>("ratio"); // device pixels a widget pixel
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("selected");
        QTest::newRow("4, selection button") << 4.0 << 1 << 0 << 0;
        QTest::newRow("4, selected") << 4.0 << 1 << 0 << 1;
        QTest::newRow("3, command button") << 3.0 << 1 << 1 << 0;
        QTest::newRow("1 on a dense screen") << 1.0 << 2 << 0 << 0;
    }

    void labels_stay_sharp_when_zoomed()
    {
        QFETCH(double, zoom);
        QFETCH(int, ratio);
        QFETCH(int, kind);
        QFETCH(int, selected);
        picker_view view(nullptr);
        view.resize(800, 600);
        view.show();
        buttonAttributes a;
        a.pos = QPoint(20, 10);
        a.size = a.width = a.height = 4;
        a.kind = kind;
        a.color = 0x203040;
        a.labelColor = 0xffffff;
        a.label = "Wg";
        a.names = QStringList{"n"};
        view.push_button(a, -1);
        view.page()->set_state(0, qint16(selected));
        view.zoom = zoom;
        view.shift = QPoint(400, 300) - QPoint(int(20 * zoom), int(10 * zoom));
        auto draw = [&] {
            QImage image(view.size() * ratio, QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(ratio);
            image.fill(Qt::transparent);
            view.render(&image);
            return image;
        };
        const QImage image = draw();
        view.set_paint_caching(false);
        QCOMPARE(draw(), image);
        view.set_paint_caching(true);

        const QSize picture = view.buttons()[0].labelPixmap.size();
        QRect label(QPoint(0, 0), (QSizeF(picture) * zoom * ratio).toSize());
        label.moveCenter(QPoint(400, 300) * ratio);
        label &= image.rect();
        int changes = 0;
        for (int y = label.top() + 1; y <= label.bottom(); ++y)
            for (int x = label.left(); x <= label.right(); ++x)
                if (image.pixel(x, y) != image.pixel(x, y - 1)) {
                    ++changes;
                    break;
                }
        QVERIFY2(changes * 5 > label.height() * 3,
                 qPrintable(QString("%1 of %2 rows change").arg(changes).arg(label.height())));
    }
};

QTEST_MAIN(test_paint)
#include "test_paint.moc"
