// Pointer, wheel and key input on a view inside its window, driven by
// synthesized events at picker coordinates.
#include "modal_helper.h"
#include "recording_host.h"
#include "view/gestures.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QAction>
#include <QMenu>
#include <QTextEdit>
#include <QTabWidget>
#include <QUndoStack>
#include <QStandardPaths>
#include <QtTest>

namespace {

buttonAttributes button(QPoint pos, QStringList names, int kind = 0, int language = 0)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = a.height = 20;
    a.kind = kind;
    a.language = language;
    a.color = 0x808000;
    a.labelColor = 0xffffff;
    a.names = names;
    return a;
}

void mouse(QWidget* w, QEvent::Type type, QPoint pos, Qt::MouseButton button, Qt::MouseButtons held,
           Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    QMouseEvent e(type, pos, w->mapToGlobal(pos), button, held, mods);
    QApplication::sendEvent(w, &e);
}

void press(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier, Qt::MouseButton b = Qt::LeftButton)
{
    mouse(w, QEvent::MouseButtonPress, pos, b, b, mods);
}

void move(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier, Qt::MouseButtons held = Qt::LeftButton)
{
    mouse(w, QEvent::MouseMove, pos, Qt::NoButton, held, mods);
}

void release(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier, Qt::MouseButton b = Qt::LeftButton)
{
    mouse(w, QEvent::MouseButtonRelease, pos, b, Qt::NoButton, mods);
}

void click(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    press(w, pos, mods);
    release(w, pos, mods);
}

void wheel(QWidget* w, QPoint pos, int delta)
{
    QWheelEvent e(QPointF(pos), QPointF(w->mapToGlobal(pos)), QPoint(), QPoint(0, delta), Qt::NoButton,
                  Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(w, &e);
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

    void click_selects_and_tells_the_host()
    {
        click(view, QPoint(100, 50));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker select hero:b hero:c"});
        // The button sharing a name lights with it.
        QCOMPARE(int(view->buttons[1].selected), 1);
        QCOMPARE(int(view->buttons[2].selected), 1);
        QCOMPARE(int(view->buttons[0].selected), 0);
        host->clear();
        click(view, QPoint(300, 120));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker clear"});
        QCOMPARE(int(view->buttons[1].selected), 0);
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

    void marquee_selects_what_it_meets()
    {
        press(view, QPoint(30, 30));
        move(view, QPoint(95, 70));
        release(view, QPoint(95, 70));
        QCOMPARE(selects(), QStringList{"QuillmarshPicker select hero:a hero:b hero:c"});
        QCOMPARE(int(view->buttons[2].selected), 1); // shares hero:c
    }

    void shift_adds_and_shift_click_removes()
    {
        click(view, QPoint(50, 50));
        click(view, QPoint(150, 50), Qt::ShiftModifier);
        QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:a hero:c"));
        QCOMPARE(int(view->buttons[1].selected), 2); // one of its two names
        click(view, QPoint(50, 50), Qt::ShiftModifier);
        QCOMPARE(selects().last(), QString("QuillmarshPicker select hero:c"));
        QCOMPARE(int(view->buttons[0].selected), 0);

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
        QCOMPARE(int(view->buttons[2].selected), 1);
        host->clear();
        const int entries = view->undoer()->count();
        press(view, QPoint(100, 100), Qt::ControlModifier);
        move(view, QPoint(130, 90), Qt::ControlModifier);
        QCOMPARE(view->buttons[0].pos, QPoint(65, 45)); // live
        move(view, QPoint(141, 121), Qt::ControlModifier);
        release(view, QPoint(141, 121), Qt::ControlModifier);
        QCOMPARE(view->buttons[0].pos, QPoint(70, 60));
        QCOMPARE(view->buttons[2].pos, QPoint(170, 60));
        QCOMPARE(view->buttons[1].pos, QPoint(120, 60)); // partly selected buttons move too
        QCOMPARE(view->undoer()->count(), entries + 1);
        QVERIFY(selects().isEmpty());
        view->undoer()->undo();
        QCOMPARE(view->buttons[0].pos, QPoint(50, 50));

        // A Control-click without motion makes no entry.
        press(view, QPoint(100, 100), Qt::ControlModifier);
        release(view, QPoint(100, 100), Qt::ControlModifier);
        QCOMPARE(view->undoer()->count(), entries + 1);
    }

    void command_buttons_run_once_when_released_inside()
    {
        press(view, QPoint(50, 150));
        QCOMPARE(int(view->buttons[3].selected), 1); // shown pressed
        move(view, QPoint(200, 200));
        QCOMPARE(int(view->buttons[3].selected), 0);
        release(view, QPoint(200, 200));
        QVERIFY(host->mel.isEmpty());

        press(view, QPoint(50, 150));
        release(view, QPoint(52, 152));
        QCOMPARE(host->mel, QStringList{"print \"pressed\";"});
        QCOMPARE(int(view->buttons[3].selected), 0);
        click(view, QPoint(100, 150));
        QCOMPARE(host->python, QStringList{"print('py')"});
        QCOMPARE(host->mel.size(), 1);
    }

    void wheel_zoom_data()
    {
        QTest::addColumn<int>("delta");
        QTest::addColumn<double>("zoom");
        QTest::newRow("60 does nothing") << 60 << 1.0;
        QTest::newRow("120 one step") << 120 << 1.0625;
        // Four steps of 60, one fewer applied.
        QTest::newRow("240 three steps") << 240 << 1.0625 * 1.0625 * 1.0625;
        QTest::newRow("-120 one step out") << -120 << 0.9375;
        QTest::newRow("-60 does nothing") << -60 << 1.0;
    }

    void wheel_zoom()
    {
        QFETCH(int, delta);
        QFETCH(double, zoom);
        wheel(view, QPoint(80, 90), delta);
        QCOMPARE(view->zoom, zoom);
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

    void context_menu_enables_by_what_was_hit()
    {
        QStringList seen;
        auto read_menu = [&] {
            modal_helper::with_next_popup([&](QWidget* popup) {
                auto* menu = qobject_cast<QMenu*>(popup);
                if (!menu)
                    return;
                for (QAction* a : menu->actions())
                    if (!a->isSeparator() && !a->menu())
                        seen << QString("%1=%2").arg(a->text()).arg(a->isEnabled());
                menu->close();
            });
        };
        read_menu();
        press(view, QPoint(300, 300), Qt::NoModifier, Qt::RightButton);
        QCOMPARE(seen, (QStringList{"Add One Button=0", "Add Many Buttons=1", "Update Button=0", "Delete Button=0",
                                    "Add Command Button...=1", "Reset View=1", "Frame View=1"}));
        seen.clear();
        picker_window::set_selection_names(QStringList{"hero:z"});
        read_menu();
        press(view, QPoint(50, 150), Qt::NoModifier, Qt::RightButton);
        QCOMPARE(seen.mid(0, 5), (QStringList{"Add One Button=1", "Add Many Buttons=1", "Update Button=0",
                                              "Delete Button=1", "Edit Command Button...=1"}));
        QCOMPARE(int(view->buttons[3].selected), 1); // shown selected in the view only
        QVERIFY(view->contextMenu()->actions()[3]->isEnabled());
    }

    void keys_act_on_the_front_picker_only()
    {
        click(view, QPoint(50, 50));
        view->setFocus();
        QTest::keyClick(view, Qt::Key_Right);
        QCOMPARE(view->buttons[0].pos, QPoint(51, 50));
        QTest::keyClick(view, Qt::Key_Plus);
        QCOMPARE(view->buttons[0].width, 21);
        QCOMPARE(view->buttons[0].height, 21);
        QCOMPARE(view->undoer()->count(), 3); // nudge, width, height
        QTest::keyClick(view, Qt::Key_Backspace);
        QCOMPARE(view->buttons.size(), 4);

        // A view that is not the front picker ignores its keys.
        window->new_tab();
        QVERIFY(window->frontPicker() != view);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
        QVERIFY(!view->execute_shortcut(&key));
    }

    void add_many_lays_a_row_along_the_drag()
    {
        picker_window::set_selection_names(QStringList{"x1", "x2", "x3"});
        view->buttons.clear();
        window->add_many_buttons();
        QVERIFY(dynamic_cast<add_manybuttons_cmd*>(view->mouseCommand()));
        view->zoom = 1.0;
        view->shift = QPoint(0, 0);
        press(view, QPoint(40, 40));
        QCOMPARE(view->buttons.size(), 3);
        QCOMPARE(view->buttons[1].pos, QPoint(51, 40)); // a row, size 10 plus one apart
        move(view, QPoint(40, 100));
        QCOMPARE(view->buttons[1].pos, QPoint(40, 60)); // vertical: 60 / 3 = 20 a step
        move(view, QPoint(40, 40));
        QCOMPARE(view->buttons[2].pos, QPoint(40, 20)); // no drag: towards negative
        const int writes = scene_writes();
        release(view, QPoint(40, 40));
        QVERIFY(view->mouseCommand() == nullptr);
        QCOMPARE(view->undoer()->count(), 0);
        QCOMPARE(scene_writes(), writes + 1);
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
        QCOMPARE(view->buttons.size(), 5);
        QCOMPARE(view->undoer()->count(), 0);

        answer("select -cl;", "OK");
        view->add_command_button();
        QCOMPARE(view->buttons.size(), 6);
        QCOMPARE(view->undoer()->undoText(), QString("Add Command Button"));
        QCOMPARE(view->buttons[5].kind, 1);
        QCOMPARE(view->buttons[5].names, QStringList{"select -cl;"});
        QCOMPARE(view->buttons[5].pos, QPoint(300, 100));

        // An existing command button is edited in place, outside the undo history.
        close_menu();
        press(view, QPoint(50, 150), Qt::NoModifier, Qt::RightButton);
        answer("print \"edited\";", "OK");
        view->add_command_button();
        QCOMPARE(view->buttons[3].names, QStringList{"print \"edited\";"});
        QCOMPARE(view->undoer()->count(), 1);
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
