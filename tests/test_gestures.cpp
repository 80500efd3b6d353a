// Pointer, wheel and key input on a view inside its window, driven by
// synthesized events at picker coordinates.
#include "modal_helper.h"
#include "model/undo_chunk.h"
#include "pkr_file.h"
#include "pointer.h"
#include "recording_host.h"
#include "view/gestures.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QMenu>
#include <QTextEdit>
#include <QTabWidget>
#include <QUndoStack>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

namespace {

buttonAttributes button(QPoint pos, QStringList names, int kind = 0, int language = 0)
{
    buttonAttributes a = button_at(pos, names);
    a.kind = kind;
    a.language = language;
    return a;
}

// Where the picker point under a widget point lies, unrounded.
QPointF picker_under(const picker_view* view, QPoint widget)
{
    return (QPointF(widget) - QPointF(view->shift)) / view->zoom;
}

} // namespace

class test_gestures : public QObject {
    Q_OBJECT

    recording_host* host = nullptr;
    picker_window* window = nullptr;
    picker_view* view = nullptr;

    QStringList selects() const
    {
        QStringList out;
        for (const QString& t : host->mel)
            if (t.startsWith("QuillmarshPicker select") || t == "QuillmarshPicker clear")
                out << t;
        return out;
    }

    // The context menu a right-click opens, as "text=enabled" entries; the
    // menu is closed again, and the right-click's effects stay.
    QStringList right_click(QPoint at)
    {
        QStringList seen;
        modal_helper::with_next_popup([&](QWidget* popup) {
            auto* menu = qobject_cast<QMenu*>(popup);
            if (!menu)
                return;
            for (QAction* a : menu->actions())
                if (!a->isSeparator() && !a->menu())
                    seen << QString("%1=%2").arg(a->text()).arg(a->isEnabled());
            menu->close();
        });
        press(view, at, Qt::NoModifier, Qt::RightButton);
        return seen;
    }

    QList<QStringList> names() const
    {
        QList<QStringList> out;
        for (const buttonRecord& r : view->buttons())
            out << r.names;
        return out;
    }

    // What reaches the scene once the host is next idle.
    int scene_writes() const
    {
        window->flushSceneData(false);
        return host->now.filter("fileInfo \"QuillmarshPickerData\"").size();
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        picker_window::set_selection_names({});
        host = new recording_host;
        window = new picker_window(nullptr);
        window->resize(400, 400);
        window->show();
        QApplication::setActiveWindow(window);
        view = window->frontPicker();
        view->push_button(button(QPoint(50, 50), {"hero:a"}), -1);
        view->push_button(button(QPoint(100, 50), {"hero:b", "hero:c"}), -1);
        view->push_button(button(QPoint(150, 50), {"hero:c"}), -1);
        view->push_button(button(QPoint(50, 150), {"print \"pressed\";"}, 1, 0), -1);
        view->push_button(button(QPoint(100, 150), {"print('py')"}, 1, 1), -1);
        host->clear();
    }

    void cleanup()
    {
        delete window;
        delete host;
    }

    void marquee_starts_past_three_pixels_data()
    {
        QTest::addColumn<QPoint>("end");
        QTest::addColumn<bool>("marquee");
        QTest::newRow("3 pixels") << QPoint(202, 201) << false;
        QTest::newRow("4 pixels") << QPoint(202, 202) << true;
        QTest::newRow("4 pixels one way") << QPoint(196, 200) << true;
    }

    void marquee_starts_past_three_pixels()
    {
        QFETCH(QPoint, end);
        QFETCH(bool, marquee);
        press(view, QPoint(200, 200));
        move(view, end);
        QCOMPARE(!view->overlays.marquee()->isEmpty(), marquee);
        release(view, end);
        QVERIFY(view->overlays.marquee()->isEmpty());
    }

    // A click selects and tells the host, an empty click clears, a marquee
    // selects what it meets; Shift adds and a Shift-click removes. A button
    // sharing a name lights with the one selected.
    void clicks_and_marquees_select_and_tell_the_host()
    {
        click(view, QPoint(100, 50));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker select hero:b hero:c"});
        QCOMPARE(int(view->buttons()[1].selected), 1);
        QCOMPARE(int(view->buttons()[2].selected), 1);
        QCOMPARE(int(view->buttons()[0].selected), 0);
        host->clear();
        click(view, QPoint(300, 120));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker clear"});
        QCOMPARE(int(view->buttons()[1].selected), 0);
        host->clear();
        press(view, QPoint(30, 30));
        move(view, QPoint(95, 70));
        release(view, QPoint(95, 70));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker select hero:a hero:b hero:c"});
        QCOMPARE(int(view->buttons()[2].selected), 1);

        click(view, QPoint(50, 50));
        click(view, QPoint(150, 50), Qt::ShiftModifier);
        QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:a hero:c"));
        QCOMPARE(int(view->buttons()[1].selected), 2); // one of its two names
        click(view, QPoint(50, 50), Qt::ShiftModifier);
        QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:c"));
        QCOMPARE(int(view->buttons()[0].selected), 0);

        // Shift-drag adds what the marquee meets to the press-time selection,
        // and forgets what it no longer meets.
        press(view, QPoint(30, 30), Qt::ShiftModifier);
        move(view, QPoint(110, 70), Qt::ShiftModifier);
        move(view, QPoint(70, 70), Qt::ShiftModifier);
        release(view, QPoint(70, 70), Qt::ShiftModifier);
        QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:c hero:a"));
    }

    void control_drag_moves_by_the_zoomed_drag()
    {
        view->zoom = 2.0;
        click(view, QPoint(100, 100)); // (50, 50) at zoom 2
        click(view, QPoint(300, 100), Qt::ShiftModifier);
        QCOMPARE(int(view->buttons()[2].selected), 1);
        host->clear();
        const int entries = view->undoer()->count();
        press(view, QPoint(100, 100), Qt::ControlModifier);
        move(view, QPoint(130, 90), Qt::ControlModifier);
        QCOMPARE(view->buttons()[0].pos, QPoint(65, 45)); // live
        move(view, QPoint(141, 121), Qt::ControlModifier);
        release(view, QPoint(141, 121), Qt::ControlModifier);
        QCOMPARE(view->buttons()[0].pos, QPoint(70, 60));
        QCOMPARE(view->buttons()[2].pos, QPoint(170, 60));
        QCOMPARE(view->buttons()[1].pos, QPoint(100, 50)); // lit only through a shared name: not picked
        QCOMPARE(view->undoer()->count(), entries + 1);
        QVERIFY(selects().isEmpty());
        view->undoer()->undo();
        QCOMPARE(view->buttons()[0].pos, QPoint(50, 50));

        // A Control-click without motion makes no entry.
        press(view, QPoint(100, 100), Qt::ControlModifier);
        release(view, QPoint(100, 100), Qt::ControlModifier);
        QCOMPARE(view->undoer()->count(), entries + 1);
    }

    // Control-clicks and Control-marquees change the selection like any
    // other: the host is told, and buttons sharing a name light together.
    void control_gestures_tell_the_host_data()
    {
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<QString>("posted");
        QTest::addColumn<int>("sharing"); // state of button 1 (hero:b, hero:c)
        QTest::newRow("click") << QPoint(150, 50) << QPoint(150, 50) << "QuillmarshPicker select hero:c" << 2;
        QTest::newRow("drag") << QPoint(150, 50) << QPoint(160, 60) << "QuillmarshPicker select hero:c" << 2;
        QTest::newRow("marquee") << QPoint(80, 30) << QPoint(120, 70) << "QuillmarshPicker select hero:b hero:c" << 1;
    }

    void control_gestures_tell_the_host()
    {
        QFETCH(QPoint, from);
        QFETCH(QPoint, to);
        QFETCH(QString, posted);
        QFETCH(int, sharing);
        click(view, QPoint(50, 50));
        host->clear();
        press(view, from, Qt::ControlModifier);
        move(view, to, Qt::ControlModifier);
        release(view, to, Qt::ControlModifier);
        QCOMPARE(selects(), QStringList{posted});
        QCOMPARE(int(view->buttons()[1].selected), sharing);
        QCOMPARE(int(view->buttons()[2].selected), 1);
    }

    void command_buttons_run_once_when_released_inside()
    {
        press(view, QPoint(50, 150));
        QCOMPARE(int(view->buttons()[3].selected), 1); // shown pressed
        move(view, QPoint(200, 200));
        QCOMPARE(int(view->buttons()[3].selected), 0);
        release(view, QPoint(200, 200));
        QVERIFY(host->mel.isEmpty());

        press(view, QPoint(50, 150));
        release(view, QPoint(52, 152));
        QCOMPARE(host->mel, QStringList{mel_in_undo_chunk("print \"pressed\";")});
        QCOMPARE(int(view->buttons()[3].selected), 0);
        click(view, QPoint(100, 150));
        QCOMPARE(host->python, QStringList{python_in_undo_chunk("print('py')")});
        QCOMPARE(host->mel.size(), 1);
    }

    // A slider follows the pointer from the press, live, the whole drag one
    // chunk of the host's undo; Shift moves a tenth as far from where it
    // was; a switch steps on release inside; a plug the host cannot read is
    // said once and never set.
    void attribute_buttons_drag_and_step()
    {
        buttonAttributes slider = button(QPoint(250, 250), {"hero:face.jaw"});
        slider.kind = attribute_kind;
        slider.widget = qint32(attribute_widget::slider);
        slider.size = slider.width = 104;
        slider.height = 20;
        slider.minimum[0] = -1;
        slider.shape = qint32(button_shape::rectangle);
        const int k = view->push_button(slider, -1);
        const QRectF box = QRectF(view->mapToScreen(view->buttons()[k].bounds)).adjusted(2, 2, -2, -2);
        const auto at = [&box](double f) { return QPoint(qRound(box.left() + f * box.width()), qRound(box.center().y())); };
        host->values["hero:face.jaw"] = 0.3;
        press(view, at(0.5));
        move(view, at(0.75));
        release(view, at(0.75));
        QCOMPARE(host->now, (QStringList{"undoInfo -openChunk -chunkName \"QuillmarshPicker drag\";",
                                         "undoInfo -closeChunk;"}));
        QCOMPARE(host->undoable, (QStringList{"setAttr \"hero:face.jaw\" 0;", "setAttr \"hero:face.jaw\" 0.5;"}));
        QCOMPARE(view->buttons()[k].value[0], 0.5);

        host->clear();
        press(view, at(0.5), Qt::ShiftModifier);
        QVERIFY(host->undoable.isEmpty());
        move(view, at(1.0), Qt::ShiftModifier);
        release(view, at(1.0), Qt::ShiftModifier);
        QVERIFY(qFuzzyCompare(view->buttons()[k].value[0], 0.4));
        QCOMPARE(host->now.size(), 2);

        host->clear();
        host->values.clear();
        press(view, at(0.5));
        move(view, at(0.9));
        release(view, at(0.9));
        QVERIFY(host->now.isEmpty() && host->undoable.isEmpty());
        QCOMPARE(host->warnings, QStringList{"QuillmarshPicker: hero:face.jaw cannot be set: it is not in the "
                                             "scene, or not a number"});

        buttonAttributes toggle = slider;
        toggle.pos = QPoint(250, 320);
        toggle.size = toggle.width = toggle.height = 20;
        toggle.widget = qint32(attribute_widget::checkbox);
        toggle.names = QStringList{"hero:face.on"};
        toggle.minimum[0] = 0;
        view->push_button(toggle, -1);
        host->clear();
        host->values["hero:face.on"] = 1;
        click(view, QPoint(250, 320));
        QCOMPARE(host->undoable, QStringList{"undoInfo -openChunk;setAttr \"hero:face.on\" 0;undoInfo -closeChunk;"});
        press(view, QPoint(250, 320));
        release(view, QPoint(300, 380));
        QCOMPARE(host->undoable.size(), 1);

        // A marquee picks them for editing without selecting their nodes.
        press(view, QPoint(180, 230));
        move(view, QPoint(330, 340));
        release(view, QPoint(330, 340));
        QVERIFY(view->page()->is_target(k));
        QVERIFY(picker_window::selection().isEmpty());
    }

    // The dialog makes an attribute button where the menu was opened, or
    // edits the one clicked; it stays open, saying why, until the host has
    // the attribute and the range fits it.
    void attribute_buttons_are_added_and_edited_in_the_dialog()
    {
        attribute_facts jaw;
        jaw.exists = true;
        jaw.type = attribute_facts::number;
        jaw.hasMinimum = jaw.hasMaximum = true;
        jaw.maximum = 2;
        host->facts["hero:face.jaw"] = jaw;
        QString said;
        const auto fill = [&said](const QString& plug, const QString& low, const QString& high) {
            modal_helper::with_next([=, &said](QWidget* dialog) {
                dialog->findChild<QLineEdit*>("attribute")->setText(plug);
                dialog->findChild<QLineEdit*>("minimum")->setText(low);
                dialog->findChild<QLineEdit*>("maximum")->setText(high);
                modal_helper::answer(dialog, "OK");
                said = dialog->findChild<QLabel*>("problem")->text();
                if (dialog->isVisible())
                    modal_helper::answer(dialog, "Cancel");
            });
        };
        modal_helper::with_next_popup([](QWidget* popup) { popup->close(); });
        press(view, QPoint(300, 100), Qt::NoModifier, Qt::RightButton);
        fill("hero:face.gone", "", "");
        view->add_attribute_button();
        QCOMPARE(said, QString("Hero:face.gone is not in the scene."));
        fill("hero:face.jaw", "0", "3");
        view->add_attribute_button();
        QCOMPARE(said, QString("Hero:face.jaw takes values from 0 to 2, not 0 to 3."));
        QCOMPARE(view->buttons().size(), 5);

        fill("hero:face.jaw", "", "");
        view->add_attribute_button();
        QCOMPARE(view->buttons().size(), 6);
        const buttonRecord& made = view->buttons()[5];
        QCOMPARE(made.kind, qint32(attribute_kind));
        QCOMPARE(made.names, QStringList{"hero:face.jaw"});
        QCOMPARE(made.maximum[0], 2.0);
        QCOMPARE(made.pos, QPoint(300, 100));
        QCOMPARE(view->undoer()->undoText(), QString("Add Attribute Button"));

        modal_helper::with_next_popup([](QWidget* popup) { popup->close(); });
        press(view, QPoint(300, 100), Qt::NoModifier, Qt::RightButton);
        fill("hero:face.jaw", "0.5", "1");
        view->add_attribute_button();
        QCOMPARE(view->buttons()[5].minimum[0], 0.5);
        QCOMPARE(view->undoer()->undoText(), QString("Edit Attribute Button"));
        view->undoer()->undo();
        QCOMPARE(view->buttons()[5].minimum[0], 0.0);
    }

    // Notches in and as many out come back exactly, and the picker point
    // under the pointer stays under it all along, also from a zoom that
    // framing left between steps.
    void wheel_steps_undo_each_other_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<int>("notches");
        QTest::newRow("from 1") << 1.0 << 20;
        QTest::newRow("from a framed zoom") << 1.3 << 7;
        QTest::newRow("into the limit") << 4.0 << 40;
    }

    void wheel_steps_undo_each_other()
    {
        QFETCH(double, start);
        QFETCH(int, notches);
        view->zoom = start;
        view->shift = QPoint(13, -7);
        const QPoint anchor(123, 77);
        const QPointF under = picker_under(view, anchor);
        double reached = 0;
        for (int i = 0; i < 2 * notches; ++i) {
            wheel(view, anchor, i < notches ? 120 : -120);
            if (i == notches - 1)
                reached = view->zoom;
            const QPointF at = under * view->zoom + QPointF(view->shift);
            QVERIFY2(qAbs(at.x() - anchor.x()) <= 0.5 && qAbs(at.y() - anchor.y()) <= 0.5,
                     qPrintable(QString("step %1").arg(i)));
        }
        if (notches < 40)
            QCOMPARE(reached, start * std::pow(1.0625, notches));
        else
            QCOMPARE(reached, 16.0);
        if (notches < 40) {
            QCOMPARE(view->zoom, start);
            QCOMPARE(view->shift, QPoint(13, -7));
        }
    }

    void wheel_pans_sideways_and_waits_for_held_buttons()
    {
        wheel(view, QPoint(80, 90), 0, 120);
        QCOMPARE(view->shift, QPoint(40, 0));
        wheel(view, QPoint(80, 90), 0, -240);
        QCOMPARE(view->shift, QPoint(-40, 0));
        QCOMPARE(view->zoom, 1.0);
        // Small deltas of a fine wheel add up to a notch, and do nothing before.
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(view->zoom, 1.0);
            wheel(view, QPoint(80, 90), 30);
        }
        QCOMPARE(view->zoom, 1.0625);

        // Not while a pan is held, even when the event reports no button.
        press(view, QPoint(10, 10), Qt::NoModifier, Qt::MiddleButton);
        wheel(view, QPoint(80, 90), 240);
        QCOMPARE(view->zoom, 1.0625);
        release(view, QPoint(10, 10), Qt::NoModifier, Qt::MiddleButton);
        wheel(view, QPoint(80, 90), -120);
        QCOMPARE(view->zoom, 1.0);
    }

    // Where a button is drawn is where it is hit and where a command
    // button's press shows and runs; a pixel past the right or bottom edge
    // is outside everywhere.
    void hits_drawing_and_presses_agree_data()
    {
        QTest::addColumn<double>("zoom");
        QTest::addColumn<QPoint>("shift");
        QTest::addColumn<QPoint>("at"); // button 0, bounds (41, 41) to (60, 60)
        QTest::addColumn<bool>("inside");
        QTest::newRow("last pixel") << 1.0 << QPoint() << QPoint(60, 60) << true;
        QTest::newRow("past the right") << 1.0 << QPoint() << QPoint(61, 50) << false;
        QTest::newRow("first pixel") << 1.0 << QPoint() << QPoint(41, 41) << true;
        QTest::newRow("before the left") << 1.0 << QPoint() << QPoint(40, 50) << false;
        QTest::newRow("zoom 1.5, last pixel") << 1.5 << QPoint() << QPoint(90, 90) << true;
        QTest::newRow("zoom 1.5, past") << 1.5 << QPoint() << QPoint(90, 91) << false;
    }

    void hits_drawing_and_presses_agree()
    {
        QFETCH(double, zoom);
        QFETCH(QPoint, shift);
        QFETCH(QPoint, at);
        QFETCH(bool, inside);
        view->zoom = zoom;
        view->shift = shift;
        QCOMPARE(view->find_button_index(at), inside ? 0 : -1);
        QImage image(view->size(), QImage::Format_ARGB32_Premultiplied);
        view->render(&image);
        QCOMPARE(QColor(image.pixel(at)), inside ? QColor(0x33, 0x66, 0xcc) : QColor(51, 51, 51));

        // The same button as a command button: pressed and run there only.
        buttonAttributes b = view->buttons()[0];
        b.kind = 1;
        b.names = QStringList{"print \"edge\";"};
        view->page()->set_attributes(0, b);
        press(view, at);
        QCOMPARE(int(view->buttons()[0].selected), int(inside));
        release(view, at);
        QCOMPARE(host->mel.contains(mel_in_undo_chunk("print \"edge\";")), inside);
    }

    void alt_drags_zoom_and_middle_pans()
    {
        press(view, QPoint(100, 100), Qt::AltModifier, Qt::RightButton);
        move(view, QPoint(140, 100), Qt::AltModifier, Qt::RightButton);
        release(view, QPoint(140, 100), Qt::AltModifier, Qt::RightButton);
        QCOMPARE(view->zoom, 1.0625);

        const QPoint before = view->shift;
        press(view, QPoint(10, 10), Qt::NoModifier, Qt::MiddleButton);
        move(view, QPoint(25, 5), Qt::NoModifier, Qt::MiddleButton);
        release(view, QPoint(25, 5), Qt::NoModifier, Qt::MiddleButton);
        QCOMPARE(view->shift, before + QPoint(15, -5));
        QVERIFY(view->undoer()->count() == 0);
    }

    void hover_lists_a_buttons_objects_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("tip");
        QTest::newRow("four") << 4 << "n0\nn1\nn2\nn3";
        QTest::newRow("seven") << 7 << "n0\nn1\nn2\n...and 4 more";
    }

    void hover_lists_a_buttons_objects()
    {
        QFETCH(int, count);
        QFETCH(QString, tip);
        QStringList names;
        for (int i = 0; i < count; ++i)
            names << QString("n%1").arg(i);
        view->push_button(button(QPoint(250, 250), names), 0);
        move(view, QPoint(250, 250), Qt::NoModifier, Qt::NoButton);
        QCOMPARE(view->toolTip(), tip);
        move(view, QPoint(50, 150), Qt::NoModifier, Qt::NoButton); // a command button
        QCOMPARE(view->toolTip(), QString());
    }

    void the_menu_enables_by_what_was_hit_and_mirrors()
    {
        QCOMPARE(right_click(QPoint(300, 300)),
                 (QStringList{"Add One Button=0", "Add Many Buttons=1", "Update Button=0", "Delete Button=0",
                              "Mirror=0", "Add Command Button...=1", "Add Attribute Button...=1",
                              "Set Button Picture...=0", "Remove Button Picture=0", "Reset View=1", "Frame View=1"}));
        picker_window::set_selection_names(QStringList{"hero:z"});
        QCOMPARE(right_click(QPoint(50, 150)).mid(0, 6),
                 (QStringList{"Add One Button=1", "Add Many Buttons=1", "Update Button=0", "Delete Button=1",
                              "Mirror=1", "Edit Command Button...=1"}));
        QCOMPARE(int(view->buttons()[3].selected), 1);
        QVERIFY(view->contextMenu()->actions()[3]->isEnabled());

        // Mirror copies the clicked button.
        picker_window::set_selection_names({});
        view->push_button(button(QPoint(60, 100), {"hero:L_foot"}), -1);
        host->absent = QStringList{"hero:R_foot"};
        QVERIFY(right_click(QPoint(60, 100)).contains("Mirror=1"));
        const int count = view->buttons().size();
        for (QAction* a : view->contextMenu()->actions())
            if (a->text() == "Mirror")
                a->trigger();
        // No picture: about the middle of the outermost buttons, 50 and 150.
        QCOMPARE(view->buttons().size(), count + 1);
        QCOMPARE(view->buttons().last().pos, QPoint(140, 100));
        QCOMPARE(view->buttons().last().names, QStringList{"hero:R_foot"});
        QCOMPARE(host->warnings, QStringList{"QuillmarshPicker - Mirror: 1 mirrored button selects objects the "
                                             "scene does not have: hero:R_foot"});
        view->undoer()->undo();
        QCOMPARE(view->buttons().size(), count);
    }

    // The menu gives the clicked button a picture from a file, one undo
    // step; a file that is no picture is said and changes nothing; Remove
    // is offered once there is one to remove.
    void the_menu_sets_and_removes_pictures()
    {
        QTemporaryDir dir;
        const QString icon = dir.filePath("icon.png");
        write_picture_file(icon, 16, 16, Qt::yellow);
        const QString junk = dir.filePath("junk.png");
        QFile file(junk);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not a picture") > 0);
        file.close();
        const auto choose = [this](const QString& text) {
            for (QAction* a : view->contextMenu()->actions())
                if (a->text() == text)
                    a->trigger();
        };
        QVERIFY(right_click(QPoint(150, 50)).contains("Set Button Picture...=1"));
        modal_helper::answer_in_turn({junk, "OK"});
        choose("Set Button Picture...");
        QVERIFY(modal_helper::last_text().contains("is not a PNG image"));
        QCOMPARE(view->undoer()->count(), 0);
        modal_helper::answer_next(icon);
        choose("Set Button Picture...");
        QCOMPARE(view->buttons()[2].picture.size(), QSize(16, 16));
        QVERIFY(view->buttons()[0].picture.isNull());
        QCOMPARE(view->undoer()->undoText(), QString("Button Picture"));
        QVERIFY(right_click(QPoint(150, 50)).contains("Remove Button Picture=1"));
        choose("Remove Button Picture");
        QVERIFY(view->buttons()[2].picture.isNull());
        QCOMPARE(view->undoer()->count(), 2);
        view->undoer()->undo();
        QCOMPARE(view->buttons()[2].picture.size(), QSize(16, 16));
    }

    // Buttons > Shape reshapes the clicked button, one undo step: a polygon
    // starts as a hexagon over its box and keeps its outline when chosen
    // again.
    void the_menu_shapes_buttons()
    {
        QVERIFY(right_click(QPoint(150, 50)).contains("Delete Button=1"));
        QMenu* shapes = nullptr;
        for (QMenu* sub : view->contextMenu()->findChildren<QMenu*>())
            if (sub->title() == "Shape")
                shapes = sub;
        QVERIFY(shapes);
        const auto choose = [shapes](const QString& text) {
            for (QAction* a : shapes->actions())
                if (a->text() == text && a->isEnabled())
                    a->trigger();
        };
        const buttonAttributes before = view->buttons()[2];
        choose("Polygon");
        QCOMPARE(view->buttons()[2].shape, qint32(button_shape::polygon));
        QCOMPARE(view->buttons()[2].points.size(), 6);
        choose("Polygon");
        QCOMPARE(view->undoer()->count(), 1);
        choose("Ellipse");
        QCOMPARE(view->buttons()[2].shape, qint32(button_shape::ellipse));
        QVERIFY(view->buttons()[2].points.isEmpty());
        QCOMPARE(view->undoer()->undoText(), QString("Button Shape"));
        view->undoer()->undo();
        view->undoer()->undo();
        QCOMPARE(static_cast<const buttonAttributes&>(view->buttons()[2]), before);
    }

    // A right-click on a button that is not selected makes it the selection,
    // in the host too, before the menu acts; Update binds the button to what
    // the host had selected before the click, and needs something.
    void right_click_acts_on_the_clicked_button_data()
    {
        QTest::addColumn<bool>("selectFirst"); // click button 0 (hero:a) first
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("updateEnabled");
        QTest::addColumn<QList<QStringList>>("after");
        const QStringList a{"hero:a"}, bc{"hero:b", "hero:c"}, c{"hero:c"}, mel{"print \"pressed\";"},
            py{"print('py')"};
        QTest::newRow("delete") << true << "delete" << true << QList<QStringList>{a, bc, mel, py};
        QTest::newRow("cut") << true << "cut" << true << QList<QStringList>{a, bc, mel, py};
        QTest::newRow("update") << true << "update" << true << QList<QStringList>{a, bc, a, mel, py};
        QTest::newRow("update, nothing in the host") << false << "update" << false
                                                     << QList<QStringList>{a, bc, c, mel, py};
    }

    void right_click_acts_on_the_clicked_button()
    {
        QFETCH(bool, selectFirst);
        QFETCH(QString, action);
        QFETCH(bool, updateEnabled);
        QFETCH(QList<QStringList>, after);
        if (selectFirst)
            click(view, QPoint(50, 50));
        host->clear();
        const QStringList menu = right_click(QPoint(150, 50));
        QCOMPARE(menu.value(2), QString("Update Button=%1").arg(int(updateEnabled)));
        // The host hears of the new selection, and the button sharing a name
        // shows it.
        QCOMPARE(selects(), QStringList{"QuillmarshPicker select hero:c"});
        QCOMPARE(int(view->buttons()[0].selected), 0);
        QCOMPARE(int(view->buttons()[1].selected), 2);
        QCOMPARE(int(view->buttons()[2].selected), 1);
        if (action == "delete")
            view->delete_button();
        else if (action == "cut")
            window->cut_buttons();
        else
            view->update_button();
        QCOMPARE(names(), after);
        if (action == "update" && updateEnabled) {
            // The host gets back the selection the button now stands for.
            QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:a"));
            QCOMPARE(int(view->buttons()[2].selected), 1);
            view->undoer()->undo();
            QCOMPARE(view->buttons()[2].names, QStringList{"hero:c"});
        }
    }

    // Keys edit the selection once a click gave the canvas the focus,
    // wherever the pointer went since; keypad keys are the same keys.
    void keys_edit_the_selection_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("keypad");
        QTest::addColumn<bool>("viaMenu"); // selected by a right-click whose menu closed
        QTest::addColumn<bool>("pointerOver");
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("count");
        QTest::newRow("right") << int(Qt::Key_Right) << false << false << true << QPoint(51, 50) << 20 << 5;
        QTest::newRow("keypad plus") << int(Qt::Key_Plus) << true << false << true << QPoint(50, 50) << 21 << 5;
        QTest::newRow("backspace") << int(Qt::Key_Backspace) << false << false << true << QPoint() << 0 << 4;
        QTest::newRow("after the menu") << int(Qt::Key_Right) << false << true << true << QPoint(51, 50) << 20 << 5;
        QTest::newRow("pointer outside") << int(Qt::Key_Right) << false << false << false << QPoint(51, 50) << 20 << 5;
        QTest::newRow("outside after the menu") << int(Qt::Key_Backspace) << false << true << false << QPoint()
                                                << 0 << 4;
    }

    void keys_edit_the_selection()
    {
        QFETCH(int, key);
        QFETCH(bool, keypad);
        QFETCH(bool, viaMenu);
        QFETCH(bool, pointerOver);
        QFETCH(QPoint, pos);
        QFETCH(int, width);
        QFETCH(int, count);
        if (viaMenu)
            right_click(QPoint(50, 50));
        else
            click(view, QPoint(50, 50));
        QCOMPARE(int(view->buttons()[0].selected), 1);
        QCursor::setPos(pointerOver ? view->mapToGlobal(QPoint(200, 200)) : window->mapToGlobal(QPoint(-40, -40)));
        QCOMPARE(QApplication::focusWidget(), view);
        QTest::keyClick(view, Qt::Key(key), keypad ? Qt::KeypadModifier : Qt::NoModifier);
        QCOMPARE(view->buttons().size(), count);
        if (count == 5) {
            QCOMPARE(view->buttons()[0].pos, pos);
            QCOMPARE(view->buttons()[0].width, width);
        }
    }

    // Backspace over buttons lit only partly (by a shared object) deletes
    // nothing and leaves the history alone, however often it is pressed.
    void backspace_over_partly_lit_buttons_does_nothing()
    {
        view->page()->set_state(1, 2);
        view->page()->set_state(2, 2);
        view->setFocus();
        QTest::keyClick(view, Qt::Key_Backspace);
        QTest::keyClick(view, Qt::Key_Backspace);
        QCOMPARE(view->buttons().size(), 5);
        QCOMPARE(view->undoer()->count(), 0);
    }

    void keys_act_on_the_front_picker_only()
    {
        click(view, QPoint(50, 50));
        QCursor::setPos(view->mapToGlobal(QPoint(200, 200)));
        window->new_tab();
        QVERIFY(window->frontPicker() != view);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
        QVERIFY(!view->execute_shortcut(&key));
    }

    void add_many_lays_a_row_along_the_drag()
    {
        picker_window::set_selection_names(QStringList{"x1", "x2", "x3"});
        view->page()->clear();
        scene_writes();
        window->add_many_buttons();
        QVERIFY(dynamic_cast<add_manybuttons_cmd*>(view->mouseCommand()));
        view->zoom = 1.0;
        view->shift = QPoint(0, 0);
        press(view, QPoint(40, 40));
        QCOMPARE(view->buttons().size(), 3);
        QCOMPARE(view->buttons()[1].pos, QPoint(51, 40)); // a row, size 10 plus one apart
        move(view, QPoint(40, 100));
        QCOMPARE(view->buttons()[1].pos, QPoint(40, 60)); // vertical: 60 / 3 = 20 a step
        move(view, QPoint(40, 40));
        QCOMPARE(view->buttons()[2].pos, QPoint(40, 20)); // no drag: towards negative
        const int writes = scene_writes();
        release(view, QPoint(40, 40));
        QVERIFY(view->mouseCommand() == nullptr);
        QCOMPARE(scene_writes(), writes + 1);

        // The whole row is one undo step, redone where the drag left it.
        QCOMPARE(view->undoer()->count(), 1);
        QCOMPARE(view->undoer()->undoText(), QString("Add Many Buttons"));
        view->undoer()->undo();
        QCOMPARE(view->buttons().size(), 0);
        view->undoer()->redo();
        QCOMPARE(view->buttons().size(), 3);
        QCOMPARE(view->buttons()[2].pos, QPoint(40, 20));
        QCOMPARE(view->buttons()[2].names, QStringList{"x3"});
    }

    void add_many_can_be_cancelled_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("pressed"); // while dragging, or before the first press
        QTest::newRow("escape while dragging") << "escape" << true;
        QTest::newRow("right click before the press") << "right" << false;
    }

    void add_many_can_be_cancelled()
    {
        QFETCH(QString, how);
        QFETCH(bool, pressed);
        picker_window::set_selection_names(QStringList{"x1", "x2"});
        view->add_many_buttons();
        QVERIFY(view->mouseCommand());
        if (pressed) {
            press(view, QPoint(40, 40));
            move(view, QPoint(90, 40));
            QCOMPARE(view->buttons().size(), 7);
        }
        QCursor::setPos(view->mapToGlobal(QPoint(90, 40)));
        if (how == "escape")
            QTest::keyClick(window, Qt::Key_Escape);
        else
            mouse(view, QEvent::MouseButtonPress, QPoint(90, 40), Qt::RightButton,
                  pressed ? Qt::LeftButton | Qt::RightButton : Qt::RightButton);
        QVERIFY(view->mouseCommand() == nullptr);
        QCOMPARE(view->buttons().size(), 5);
        release(view, QPoint(90, 40));
        QCOMPARE(view->buttons().size(), 5);
        QCOMPARE(view->undoer()->count(), 0);
        // The next press is an ordinary click again.
        click(view, QPoint(50, 50));
        QCOMPARE(int(view->buttons()[0].selected), 1);
        QCOMPARE(view->buttons().size(), 5);
    }

    void command_buttons_are_added_and_edited_in_the_dialog()
    {
        auto close_menu = [] {
            modal_helper::with_next_popup([](QWidget* popup) { popup->close(); });
        };
        auto answer = [](const QString& script, const QString& choice) {
            modal_helper::with_next([script, choice](QWidget* dialog) {
                dialog->findChild<QTextEdit*>()->setPlainText(script);
                modal_helper::answer(dialog, choice);
            });
        };
        close_menu();
        press(view, QPoint(300, 100), Qt::NoModifier, Qt::RightButton);
        answer("select -cl;", "Cancel");
        view->add_command_button();
        QCOMPARE(view->buttons().size(), 5);
        QCOMPARE(view->undoer()->count(), 0);

        answer("select -cl;", "OK");
        view->add_command_button();
        QCOMPARE(view->buttons().size(), 6);
        QCOMPARE(view->undoer()->undoText(), QString("Add Command Button"));
        QCOMPARE(view->buttons()[5].kind, 1);
        QCOMPARE(view->buttons()[5].names, QStringList{"select -cl;"});
        QCOMPARE(view->buttons()[5].pos, QPoint(300, 100));

        // Editing the new button is a step of its own: undo takes the edit
        // back before it takes the button away. Cancelling leaves no step.
        close_menu();
        press(view, QPoint(300, 100), Qt::NoModifier, Qt::RightButton);
        answer("print \"edited\";", "OK");
        view->add_command_button();
        QCOMPARE(view->buttons()[5].names, QStringList{"print \"edited\";"});
        QCOMPARE(view->undoer()->count(), 2);
        QCOMPARE(view->undoer()->undoText(), QString("Edit Command Button"));
        close_menu();
        press(view, QPoint(300, 100), Qt::NoModifier, Qt::RightButton);
        answer("print \"dropped\";", "Cancel");
        view->add_command_button();
        QCOMPARE(view->undoer()->count(), 2);
        view->undoer()->undo();
        QCOMPARE(view->buttons().size(), 6);
        QCOMPARE(view->buttons()[5].names, QStringList{"select -cl;"});
        view->undoer()->undo();
        QCOMPARE(view->buttons().size(), 5);
    }

    // Buttons 0 and 2 picked; button 1 lights with 2 through hero:c. Each
    // edit's undo entry reads as the menu entry or toolbox control that
    // made it, and touches the picked buttons only.
    void undo_reads_like_the_menu_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("text");
        for (const char* action : {"Increase Size", "Decrease Size", "Align Horizontally", "Align Vertically",
                                   "Distribute Horizontally", "Distribute Vertically"})
            QTest::newRow(action) << action << action;
        QTest::newRow("delete two") << "Delete Button" << "Delete Buttons";
        QTest::newRow("nudge") << "Nudge Left" << "Move Buttons";
        QTest::newRow("drag") << "drag" << "Move Buttons";
        for (const char* tip : {"Button Color", "Label Color", "Button Width", "Button Height", "Button Label"})
            QTest::newRow(tip) << tip << tip;
    }

    void undo_reads_like_the_menu()
    {
        QFETCH(QString, control);
        QFETCH(QString, text);
        view->page()->move(2, QPoint(150, 90)); // something to align
        click(view, QPoint(50, 50));
        click(view, QPoint(150, 90), Qt::ShiftModifier);
        QCOMPARE(int(view->buttons()[1].selected), 2);
        view->page()->set_state(1, 1); // as if hero:b were selected too: lit, not picked
        const buttonAttributes shared = view->buttons()[1];
        QWidget* tool = nullptr;
        for (QWidget* w : window->findChildren<QWidget*>())
            if (w->toolTip() == control)
                tool = w;
        if (control == "drag") {
            press(view, QPoint(50, 50), Qt::ControlModifier);
            release(view, QPoint(60, 55), Qt::ControlModifier);
        } else if (auto* button = qobject_cast<QPushButton*>(tool)) {
            if (button->menu())
                button->menu()->actions()[18]->trigger(); // "50"
            else if (control == "Button Color")
                window->set_button_color(0xff00ff00);
            else
                window->set_label_color(0xffffffff);
        } else if (auto* field = qobject_cast<QLineEdit*>(tool)) {
            QTest::keyClicks(field, "Hip");
            QTest::keyClick(field, Qt::Key_Return);
        } else {
            QAction* action = nullptr;
            for (QAction* a : view->actions())
                if (a->text() == control)
                    action = a;
            QVERIFY(action);
            action->trigger();
        }
        QCOMPARE(view->undoer()->count(), 1);
        QCOMPARE(view->undoer()->undoText(), text);
        const int at = view->find_button_index_from_object("hero:b");
        QCOMPARE(static_cast<const buttonAttributes&>(view->buttons()[at]), shared);
    }

    // A button just added is the target, not the ones lighting with it;
    // undoing the add gives the targets back as they were.
    void a_new_button_is_the_next_target()
    {
        click(view, QPoint(100, 50)); // hero:b hero:c, lighting button 2 too
        right_click(QPoint(200, 200));
        view->add_one_button();
        QCOMPARE(view->buttons().size(), 6);
        QCOMPARE(view->buttons()[5].names, (QStringList{"hero:b", "hero:c"}));
        QCOMPARE(int(view->buttons()[1].selected), 1);
        view->adjust_size_up();
        QCOMPARE(view->buttons()[5].width, 21); // the toolbox's width, the picked button's
        QCOMPARE(view->buttons()[1].width, 20);
        view->undoer()->undo();
        view->undoer()->undo();
        view->adjust_size_up();
        QCOMPARE(view->buttons()[1].width, 21);
        QCOMPARE(view->buttons()[2].width, 20);
    }

    // Runs of the same size or nudge key are one step; turning back is a new one.
    void repeated_keys_merge_into_one_step()
    {
        click(view, QPoint(50, 50));
        for (int i = 0; i < 8; ++i)
            view->adjust_size_up();
        QCOMPARE(view->buttons()[0].width, 28);
        QCOMPARE(view->buttons()[0].height, 28);
        QCOMPARE(view->undoer()->count(), 1);
        for (int i = 0; i < 3; ++i)
            view->adjust_size_down();
        QCOMPARE(view->undoer()->count(), 2);
        QCOMPARE(view->undoer()->undoText(), QString("Decrease Size"));
        for (int i = 0; i < 10; ++i)
            view->nudge_right();
        QCOMPARE(view->undoer()->count(), 3);
        view->undoer()->undo();
        view->undoer()->undo();
        QCOMPARE(view->buttons()[0].width, 28);
        view->undoer()->undo();
        QCOMPARE(view->buttons()[0].width, 20);
        QCOMPARE(view->buttons()[0].height, 20);
        QCOMPARE(view->buttons()[0].pos, QPoint(50, 50));
    }

    void every_change_reaches_the_scene()
    {
        click(view, QPoint(50, 50));
        host->clear();
        view->nudge_right();
        QCOMPARE(scene_writes(), 1);
        view->adjust_size_up();
        QCOMPARE(scene_writes(), 2);
        view->undoer()->undo();
        QCOMPARE(scene_writes(), 3);
        view->nudge_down();
        QCOMPARE(scene_writes(), 4);
        // Lining up a single button changes nothing, and nothing is written.
        view->align_horizontal();
        QCOMPARE(scene_writes(), 4);
    }
};

QTEST_MAIN(test_gestures)
#include "test_gestures.moc"
