// What an animator sees of a picker: labels that read at every zoom and on
// any fill, lit buttons that keep their colour, buttons whose objects the
// scene lacks, a banner over the buttons, framing that keeps every button in
// view, and a toolbox and palette that fit a narrow panel. Through the real
// plug-in in the stand-in host where the scene matters.
#include "button_values.h"
#include "host_fixture.h"
#include "window/color_menu.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

namespace {

QImage render(picker_view& view, int ratio = 1)
{
    QImage image(view.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    view.render(&image);
    return image;
}

// A selection button as small as its label lets it be.
buttonAttributes labelled(QPoint pos, quint32 color, quint32 labelColor, const QString& label)
{
    return button(pos, 1, 1, 0, 0, color, labelColor, label, {"n"});
}

void settle(picker_view& view)
{
    while (view.animating())
        view.animate_zoom();
}

// The pixels of `area` for which `test` holds.
template <class Test>
int count(const QImage& image, const QRect& area, Test test)
{
    int n = 0;
    const QRect r = area & image.rect();
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            n += test(image.pixel(x, y));
    return n;
}

QRect device(const QRect& r, int ratio)
{
    return QRect(r.topLeft() * ratio, r.size() * ratio);
}

bool white(QRgb c)
{
    return qRed(c) > 235 && qGreen(c) > 235 && qBlue(c) > 235;
}

// The part of the view no banner covers.
QRect open_part(picker_view& view)
{
    const QRect banner = view.overlays.banner()->rect;
    return QRect(0, 0, view.width(), banner.isEmpty() ? view.height() : banner.top());
}

// Whether every button, its ring included, lies in the open part.
QString all_in_view(picker_view& view)
{
    for (const buttonRecord& r : view.buttons()) {
        const QRect ringed = view.mapToScreen(r.bounds).adjusted(-3, -3, 3, 3);
        if (!open_part(view).contains(ringed))
            return QString("button at (%1, %2) shows at (%3, %4) %5x%6 in a %7x%8 view")
                .arg(r.pos.x()).arg(r.pos.y()).arg(ringed.x()).arg(ringed.y()).arg(ringed.width())
                .arg(ringed.height()).arg(view.width()).arg(open_part(view).height());
    }
    return QString();
}

} // namespace

class test_looks : public QObject, host_fixture {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        h.set_main_window(&main);
        QString error;
        QVERIFY2(load_linked_picker(h, &error), qPrintable(error));
        h.drain_idle();
    }

    // A label's pixels (what differs between a black and a white label) lie
    // inside its button, and there are some, at every zoom and density;
    // drawn at the size shown, they are smoothed.
    void labels_stay_inside_their_buttons_data()
    {
        QTest::addColumn<double>("zoom");
        QTest::addColumn<int>("ratio");
        for (double zoom : {0.5, 0.73, 1.0, 1.37, 2.5, 4.0})
            QTest::newRow(qPrintable(QString("zoom %1").arg(zoom))) << zoom << 1;
        QTest::newRow("zoom 1, dense screen") << 1.0 << 2;
        QTest::newRow("zoom 1.6, dense screen") << 1.6 << 2;
    }
    void labels_stay_inside_their_buttons()
    {
        QFETCH(double, zoom);
        QFETCH(int, ratio);
        const QStringList labels = {"L fingers", "head_ctrl", "\u00c4gypten", "WWWWWWWW", "x", "j",
                                    "a label long enough to be cut at the edge of its picture"};
        picker_view view(nullptr);
        view.resize(900, 760);
        view.show();
        for (int i = 0; i < labels.size(); ++i)
            view.push_button(labelled(QPoint(104, 12 + 26 * i), 0x808080, 0xffffff, labels[i]), -1);
        view.zoom = zoom;
        view.shift = QPoint(2, 2);
        const QImage light = render(view, ratio);
        for (int i = 0; i < labels.size(); ++i)
            view.page()->set_label_color(i, 0x000000);
        const QImage dark = render(view, ratio);
        QVector<int> inside(labels.size());
        for (int y = 0; y < light.height(); ++y)
            for (int x = 0; x < light.width(); ++x) {
                if (light.pixel(x, y) == dark.pixel(x, y))
                    continue;
                int owner = -1;
                for (int i = 0; i < labels.size(); ++i)
                    if (device(view.mapToScreen(view.buttons()[i].bounds), ratio).contains(x, y))
                        owner = i;
                QVERIFY2(owner >= 0, qPrintable(QString("a label pixel at (%1, %2) is outside every button").arg(x).arg(y)));
                ++inside[owner];
            }
        for (int i = 0; i < labels.size(); ++i) {
            const QRect box = device(view.mapToScreen(view.buttons()[i].bounds), ratio);
            QVERIFY2(inside[i] > 10, qPrintable(QString("\"%1\": %2 pixels").arg(labels[i]).arg(inside[i])));
            // Smoothed text has many shades between the ink and the fill.
            QSet<QRgb> shades;
            for (int y = box.top(); y <= box.bottom(); ++y)
                for (int x = box.left(); x <= box.right(); ++x)
                    shades.insert(dark.pixel(x, y));
            QVERIFY2(shades.size() > 6, qPrintable(QString("\"%1\": %2 shades").arg(labels[i]).arg(shades.size())));
        }
    }

    // Whatever the fill, the label has pixels that stand well apart from it:
    // the text, or its halo where the text itself is close to the fill.
    void labels_read_on_any_fill_data()
    {
        QTest::addColumn<quint32>("fill");
        QTest::addColumn<quint32>("ink");
        QTest::newRow("black on saturated blue") << 0x0000ffu << 0x000000u;
        QTest::newRow("black on saturated red") << 0xff0000u << 0x000000u;
        QTest::newRow("black on black") << 0x000000u << 0x000000u;
        QTest::newRow("white on yellow") << 0xffff00u << 0xffffffu;
        QTest::newRow("white on white") << 0xffffffu << 0xffffffu;
    }
    void labels_read_on_any_fill()
    {
        QFETCH(quint32, fill);
        QFETCH(quint32, ink);
        picker_view view(nullptr);
        view.resize(400, 300);
        view.show();
        view.push_button(labelled(QPoint(60, 30), fill, ink, "Spine"), -1);
        view.zoom = 2;
        const QImage image = render(view);
        const int ground = qGray(fill);
        const int apart = count(image, view.mapToScreen(view.buttons()[0].bounds),
                                [&](QRgb c) { return std::abs(qGray(c) - ground) >= 96; });
        QVERIFY2(apart >= 40, qPrintable(QString("%1 pixels stand apart from the fill").arg(apart)));
    }

    // Lit or partly lit, a button shows its own colour, inside a white ring:
    // unbroken when all its objects are selected, broken when some are, and
    // none when none are. The colours the old flat states used are among
    // the fills, so that a state can never pass for a colour.
    void lit_buttons_keep_their_colour_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("label");
        QTest::addColumn<quint32>("color");
        const quint32 colors[] = {0xc0392b, 0xe0e0e0, 0x808080};
        for (quint32 color : colors) {
            const QString c = QString::number(color, 16);
            QTest::newRow(qPrintable("square " + c)) << 0 << QStringList{"a"} << QString() << color;
            QTest::newRow(qPrintable("rounded " + c)) << 0 << QStringList{"a", "b"} << "AB" << color;
            QTest::newRow(qPrintable("ellipse " + c)) << 0 << QStringList{"a", "b"} << QString() << color;
            QTest::newRow(qPrintable("command " + c)) << 1 << QStringList{"print 1"} << QString() << color;
        }
    }
    void lit_buttons_keep_their_colour()
    {
        QFETCH(int, kind);
        QFETCH(QStringList, names);
        QFETCH(QString, label);
        QFETCH(quint32, color);
        picker_view view(nullptr);
        view.resize(300, 300);
        view.show();
        view.push_button(button(QPoint(100, 60), 80, 40, kind, 0, color, 0x000000, label, names), -1);
        const QRect box = view.mapToScreen(view.buttons()[0].bounds);
        const QRect ring = box.adjusted(-3, -3, 3, 3);
        int ringed[3];
        for (qint16 state : {0, 1, 2}) {
            view.page()->set_state(0, state);
            const QImage image = render(view);
            // A command button shows pressed (lighter) when fully lit.
            if (!(kind == 1 && state == 1))
                QCOMPARE(QColor(image.pixel(box.center())), QColor(QRgb(color)));
            ringed[state] = count(image, ring, white) - count(image, box, white);
        }
        QCOMPARE(ringed[0], 0);
        QVERIFY2(ringed[1] > 60, qPrintable(QString::number(ringed[1])));
        QVERIFY2(ringed[2] > ringed[1] / 4 && ringed[2] < ringed[1] * 3 / 4,
                 qPrintable(QString("%1 of %2").arg(ringed[2]).arg(ringed[1])));
    }

    // A button holding an object the scene no longer has is dimmed and
    // hatched, whichever way the object went; it looks itself again when
    // the object is back.
    void buttons_of_missing_objects_look_apart()
    {
        h.reset();
        h.set_main_window(&main);
        picker_main::deleteAllFn(nullptr);
        nodes("rig", {"arm", "leg", "hand"});
        QVERIFY(run("QuillmarshPicker"));
        QVERIFY(run("select -r rig:arm; QuillmarshPicker add_button 20 20 arm;"
                    "select -r rig:leg; QuillmarshPicker add_button 60 20 leg;"
                    "select -r rig:hand rig:leg; QuillmarshPicker add_button 100 20 both;"
                    "select -cl"));
        h.drain_idle();
        QVERIFY(QTest::qWaitForWindowExposed(picker_main::window_));
        picker_view* v = view();
        QVERIFY(v);
        v->zoom = 2;
        v->shift = QPoint(10, 10);
        const QRgb colour = QColor(QRgb(v->buttons()[0].color)).rgb();
        // The pixels of each button showing its own colour.
        const auto own = [&] {
            QCoreApplication::processEvents();
            const QImage image = render(*v);
            QVector<int> n;
            for (const buttonRecord& r : v->buttons())
                n << count(image, v->mapToScreen(r.bounds), [&](QRgb c) { return (c | 0xff000000u) == colour; });
            return n;
        };
        QVector<int> before = own();
        for (int n : before)
            QVERIFY(n > 50);

        QVERIFY(run("select -r rig:leg; delete"));
        QVector<int> gone = own();
        QCOMPARE(gone[0], before[0]);
        QCOMPARE(gone[1], 0);
        QCOMPARE(gone[2], 0);

        QVERIFY(run("createNode transform -n \"rig:leg\"; select -cl"));
        QCOMPARE(own(), before);

        // Deleted by name, unselected, it shows at the next selection.
        QVERIFY(run("select -cl; delete rig:arm"));
        QCOMPARE(own()[0], before[0]);
        QVERIFY(run("select -r rig:hand"));
        QCOMPARE(own()[0], 0);

        // Only the tab shown is searched; another is searched as it is shown.
        QVERIFY(run("QuillmarshPicker new_tab; select -r rig:hand; QuillmarshPicker add_button 20 20 hand"));
        h.drain_idle();
        picker_view* other = view();
        QVERIFY(other != v);
        QTabWidget* tabs = picker_main::picker()->tabs();
        tabs->setCurrentWidget(v);
        QVERIFY(run("select -r rig:hand; delete; select -r rig:leg"));
        QCoreApplication::processEvents();
        QVERIFY(!other->buttons()[0].missing);
        tabs->setCurrentWidget(other);
        QCoreApplication::processEvents();
        QVERIFY(other->buttons()[0].missing);
    }

    // The banner is drawn over the buttons with its logo whole and every
    // link shown, at any width.
    void banner_lies_over_the_buttons_whole_data()
    {
        QTest::addColumn<int>("width");
        for (int width : {360, 500, 800, 1400})
            QTest::newRow(qPrintable(QString::number(width))) << width;
    }
    void banner_lies_over_the_buttons_whole()
    {
        QFETCH(int, width);
        picker_view view(nullptr);
        view.resize(width, 400);
        view.show();
        // A button all along the bottom, under the banner.
        view.push_button(button(QPoint(width / 2, 370), width * 2, 80, 0, 0, 0x2e6fd8, 0, QString(), {"n"}), -1);
        const QImage image = render(view);
        const banner_overlay* banner = view.overlays.banner();
        QVERIFY(!banner->rect.isEmpty());
        QCOMPARE(QColor(image.pixel(width - 3, 397)), QColor(0x929292));
        QRect last;
        for (const banner_overlay::bannerRecord& link : banner->links) {
            QVERIFY2(link.rect.left() >= 0 && link.rect.right() < width, qPrintable(link.label));
            QVERIFY2(last.isNull() || link.rect.left() > last.right() || link.rect.top() > last.top(), qPrintable(link.label));
            // Its text is drawn there: white strokes on the strip.
            const QRect text(link.rect.left(), link.rect.top() + 4, link.rect.width(), link.rect.height() - 6);
            QVERIFY2(count(image, text, white) > 20, qPrintable(link.label));
            last = link.rect;
        }
        // Every opaque white pixel of the logo's badge, and of the whole logo
        // where it shows, is in the picture: nothing of it is cut off.
        const QImage& logo = banner_overlay::logo;
        const QPoint at(0, banner->rect.bottom() + 1 - logo.height());
        const int shown = width >= 1000 ? logo.width() : 44;
        for (int y = 0; y < logo.height(); ++y)
            for (int x = 0; x < shown; ++x)
                if (logo.pixel(x, y) == 0xffffffffu)
                    QVERIFY2(white(image.pixel(at + QPoint(x, y))), qPrintable(QString("logo pixel (%1, %2)").arg(x).arg(y)));
    }

    // Reset View (H) shows the whole picker, Frame View (F) the lit buttons
    // or all, clear of the banner; and a picker shown whole stays whole as
    // the panel is resized.
    void framing_keeps_every_button_in_view()
    {
        picker_view view(nullptr);
        view.resize(360, 300);
        view.show();
        // The corners and middle of a 320 x 520 character sheet.
        for (QPoint at : {QPoint(10, 10), QPoint(310, 10), QPoint(10, 510), QPoint(310, 510), QPoint(160, 260)})
            view.push_button(button(at, 20, 14, 0, 0, 0xc0392b, 0, QString(), {"n"}), -1);
        view.reset_view();
        settle(view);
        QCOMPARE(all_in_view(view), QString());

        view.page()->set_state(0, 1);
        view.page()->set_state(3, 1);
        view.frame_view();
        settle(view);
        QCOMPARE(all_in_view(view), QString());

        view.page()->clear_selected(true);
        view.setZoom(3.0f, QPoint(20, 20));
        view.frame_view();
        settle(view);
        QCOMPARE(all_in_view(view), QString());

        view.reset_view();
        settle(view);
        view.resize(250, 420);
        QCOMPARE(all_in_view(view), QString());
        view.resize(600, 260);
        QCOMPARE(all_in_view(view), QString());
    }

    // At 360 pixels, a docked panel's width, every control of the toolbox
    // has the room it asks for, the label field room for a label.
    void toolbox_fits_a_narrow_panel()
    {
        picker_window window(nullptr);
        window.resize(360, 500);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        int controls = 0;
        for (QWidget* w : window.findChildren<QWidget*>()) {
            if (!(qobject_cast<QPushButton*>(w) || qobject_cast<QLabel*>(w) || qobject_cast<QLineEdit*>(w))
                || !w->isVisible())
                continue;
            ++controls;
            const QRect placed(w->mapTo(&window, QPoint(0, 0)), w->size());
            QVERIFY2(window.rect().contains(placed), qPrintable(w->toolTip()));
            QVERIFY2(w->width() >= w->minimumSizeHint().width(),
                     qPrintable(QString("%1 \"%2\": %3 of %4").arg(w->toolTip(), w->property("text").toString())
                                    .arg(w->width()).arg(w->minimumSizeHint().width())));
            if (qobject_cast<QLineEdit*>(w))
                QVERIFY2(w->width() >= 80, qPrintable(QString::number(w->width())));
        }
        QVERIFY(controls >= 6);
    }

    // The label colour is chosen from the whole palette, as the button's is.
    void label_colour_offers_the_palette()
    {
        picker_window window(nullptr);
        picker_view* v = window.frontPicker();
        v->push_button(button(QPoint(5, 5), 20, 20, 0, 0, 0xc0392b, 0, "L", {"x"}), -1);
        v->page()->set_state(0, 1);
        window.do_labelcolor_menu();
        QPointer<picker_colorMenu> menu;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* m = qobject_cast<picker_colorMenu*>(w))
                if (m->isVisible())
                    menu = m;
        QVERIFY(menu);
        picker_colorMenu whole(picker_colorMenu::color_palette(), 12, 17);
        QCOMPARE(menu->size(), whole.size());
        const QPoint cell = menu->indexToPosition(26);
        QTest::mouseMove(menu, cell);
        QTest::mousePress(menu, Qt::LeftButton, Qt::NoModifier, cell);
        QTest::mouseRelease(menu, Qt::LeftButton, Qt::NoModifier, cell);
        QCOMPARE(v->buttons()[0].labelColor, picker_colorMenu::color_palette()[26]);
        QTRY_VERIFY(menu.isNull());
    }
};

QTEST_MAIN(test_looks)
#include "test_looks.moc"
