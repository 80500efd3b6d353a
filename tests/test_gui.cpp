// The sandbox application under a real X server and window manager, driven
// with real pointer moves, clicks and keys: where keys go, which keys the
// picker keeps, and the picker's window, as an animator meets them.
#include "linked_picker.h"
#include "modal_helper.h"
#include "plugin/picker_main.h"
#include "sandbox_window.h"
#include "script_editor.h"
#include "view/picker_view.h"
#include "window/picker_window.h"
#include "x_session.h"

#include "edit/clipboard.h"
#include "model/picker_stream.h"

#include <sandbox/host.h>

#include <maya/MQtUtil.h>

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QDockWidget>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QTabWidget>
#include <QMimeData>
#include <QUndoStack>
#include <QtTest>

#include <cstdio>

// A loaded machine (a sanitizer build beside other tests) may be slow; a
// wait only ends early when what it waits for happens.
constexpr int patience = 20000;
#define TRY_VERIFY(expr) QTRY_VERIFY_WITH_TIMEOUT(expr, patience)
#define TRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, patience)

namespace {

QPoint global_centre(QWidget* w)
{
    return w->mapToGlobal(w->rect().center());
}

bool has_buttons_on_clipboard()
{
    const QMimeData* mime = QApplication::clipboard()->mimeData();
    return mime && mime->hasFormat(picker_format::clipboard_mime);
}

} // namespace

class test_gui : public QObject {
    Q_OBJECT

    sandbox::host& h = sandbox::host::instance();
    sandbox_window* main_ = nullptr;
    bool docked_ = false;

    // The workspace control the picker window lives in.
    QDockWidget* dock() const { return main_->findChild<QDockWidget*>(picker_main::control_name); }
    picker_window* window() const { return picker_main::picker(); }
    picker_view* view() const { return picker_main::current_view(); }
    script_input* mel_input() const { return main_->findChild<script_editor*>()->input(); }

    bool exists(const QString& node)
    {
        mel::value v;
        return h.execute(QString("objExists \"%1\"").arg(node), &v) && v.to_strings() == QStringList{"1"};
    }

    // The centre of a stretch of the canvas with no button on it, in widget
    // pixels; null when there is none.
    QPoint clear_point(const QSize& size = QSize(17, 17)) const
    {
        picker_view* v = view();
        for (int y = size.height(); y < v->height() - 3 * size.height(); y += 6) {
            for (int x = size.width(); x < v->width() - size.width(); x += 6) {
                const QRect around(QPoint(x, y) - QPoint(size.width(), size.height()) / 2, size);
                bool clear = true;
                for (const buttonRecord& r : v->buttons())
                    clear = clear && !v->mapToScreen(r.bounds).intersects(around);
                if (clear)
                    return QPoint(x, y);
            }
        }
        return QPoint();
    }

    QPoint empty_spot() const { return view()->mapToGlobal(clear_point()); }

    // The button the tests pick: its object has no other button, so a
    // click lights it alone.
    int lone_button() const
    {
        const QList<buttonRecord>& list = view()->buttons();
        for (int i = 0; i < list.size(); ++i)
            if (list[i].names == QStringList{"probe_ctrl"})
                return i;
        return -1;
    }

    QPoint button_centre(int index) const
    {
        return view()->mapToGlobal(view()->mapToScreen(view()->buttons().at(index).bounds).center());
    }

    // Clicks the button and waits for it to light and the canvas to have the keys.
    bool pick(int index)
    {
        if (!xdo::click_at(button_centre(index)))
            return false;
        return QTest::qWaitFor([&] { return view()->buttons().at(index).selected == 1 && picker_has_keys(); },
                               patience);
    }

    bool picker_has_keys() const
    {
        QWidget* focus = QApplication::focusWidget();
        return focus && (focus == window() || window()->isAncestorOf(focus));
    }

    bool focus_editor()
    {
        mel_input()->clear();
        return xdo::click_at(global_centre(mel_input()))
               && QTest::qWaitFor([&] { return QApplication::focusWidget() == mel_input(); }, patience);
    }

    // Opens the picker's Edit menu and closes it again, as an animator
    // looking at it would.
    bool glance_at_edit_menu()
    {
        QMenu* edit = open_menu("&Edit");
        return edit && xdo::key("Escape") && QTest::qWaitFor([&] { return !edit->isVisible(); }, patience);
    }

    // Clicks the picker's menu with this title open; null when it did not open.
    QMenu* open_menu(const QString& title)
    {
        auto* bar = window()->findChild<QMenuBar*>();
        QMenu* menu = nullptr;
        for (QMenu* m : bar->findChildren<QMenu*>())
            if (m->title() == title)
                menu = m;
        if (!menu || !xdo::click_at(bar->mapToGlobal(bar->actionGeometry(menu->menuAction()).center())))
            return nullptr;
        return QTest::qWaitFor([&] { return menu->isVisible(); }, patience) ? menu : nullptr;
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        main_ = new sandbox_window(false);
        main_->move(0, 0);
        main_->show();
        QVERIFY(QTest::qWaitForWindowExposed(main_));
        const QString why = start_linked_picker(h, main_);
        QVERIFY2(why.isEmpty(), qPrintable(why));
        main_->open_scene(DEMO_SCENE);
        main_->run_mel("QuillmarshPicker", false);
        main_->settle();
        QVERIFY(dock() && view());
        // Beside the main window, so that a click on either lands on it.
        dock()->move(main_->frameGeometry().right() + 40, 40);
        QVERIFY(QTest::qWaitForWindowExposed(dock()));
        TRY_VERIFY(!dock()->frameGeometry().intersects(main_->frameGeometry()));

        // At zoom 1, where the tests click it, and clear of the demo's buttons.
        view()->zoomWindow(1.0f, QPoint(0, 0));
        TRY_VERIFY(!view()->animating());
        h.execute("createNode transform -n \"probe_ctrl\"");
        buttonAttributes probe;
        probe.pos = clear_point(QSize(80, 40));
        QVERIFY(!probe.pos.isNull());
        probe.size = probe.width = 60;
        probe.height = 24;
        probe.color = 0x3366cc;
        probe.labelColor = 0xffffff;
        probe.label = "probe";
        probe.names = QStringList{"probe_ctrl"};
        view()->push_button(probe, -1);
        QVERIFY(lone_button() >= 0);

        // The window manager has the picker once a click on it lands; until
        // then a click may meet nothing.
        bool landed = false;
        for (int i = 0; i < 10 && !landed; ++i) {
            QVERIFY(focus_editor());
            QVERIFY(xdo::click_at(empty_spot()));
            landed = QTest::qWaitFor([&] { return dock()->isActiveWindow(); }, 2000);
        }
        QVERIFY(landed);
    }

    void cleanupTestCase()
    {
        picker_main::cleanup();
        delete main_;
    }

    void init()
    {
        // Floating until a test docks it for those after it.
        QVERIFY(dock()->isFloating() || docked_);
        h.execute("select -cl");
        main_->settle();
        view()->zoomWindow(1.0f, QPoint(0, 0));
        TRY_VERIFY(!view()->animating());
    }

    // A click gives the canvas the keys, and they stay there wherever the
    // pointer goes; the keys the picker binds never reach the host.
    void a_click_gives_the_picker_the_keys()
    {
        QVERIFY(focus_editor());
        const QPoint spot = empty_spot();
        QVERIFY(!spot.isNull());
        QVERIFY(xdo::click_at(spot));
        TRY_VERIFY(picker_has_keys());
        // H shows the whole picker: the view it gives, then one away from it.
        view()->reset_view();
        TRY_VERIFY(!view()->animating());
        const double whole = view()->zoom;
        view()->setZoom(float(whole * 2), view()->rect().center());
        QVERIFY(xdo::move_to(global_centre(main_)));
        TRY_VERIFY(!view()->underMouse());
        QVERIFY(xdo::key("h"));
        TRY_COMPARE(view()->zoom, whole);

        const int index = lone_button();
        const QStringList names = view()->buttons().at(index).names;
        const int buttons = view()->buttons().size();
        QVERIFY(pick(index));
        QVERIFY(xdo::move_to(global_centre(main_)));
        TRY_VERIFY(!view()->underMouse());
        QVERIFY(xdo::key("BackSpace"));
        TRY_COMPARE(view()->buttons().size(), buttons - 1);
        // The host's own Backspace (delete the selected objects) did not run.
        main_->settle();
        for (const QString& name : names)
            QVERIFY2(exists(name), qPrintable(name));
        QVERIFY(xdo::key("ctrl+z"));
        TRY_COMPARE(view()->buttons().size(), buttons);
    }

    // A key the picker has no use for reaches the host's main window, where
    // the animator's hotkeys are: here Delete deletes the selected objects.
    void keys_the_picker_leaves_reach_the_host()
    {
        QVERIFY(xdo::click_at(empty_spot()));
        TRY_VERIFY(picker_has_keys());
        main_->settle(); // the click's own selection reaches the host first
        h.execute("createNode transform -n \"prop_ctrl\"; select -r prop_ctrl");
        main_->settle();
        QVERIFY(exists("prop_ctrl"));
        QVERIFY(xdo::key("Delete"));
        TRY_VERIFY(!exists("prop_ctrl"));
        QVERIFY(picker_has_keys());
    }

    // Undo, redo, copy, cut and paste follow the state as it is now, not
    // as it was when the Edit menu was last open.
    void shortcuts_follow_the_state_data()
    {
        QTest::addColumn<QString>("chord");
        QTest::newRow("undo") << "ctrl+z";
        QTest::newRow("redo") << "ctrl+shift+z";
        QTest::newRow("copy") << "ctrl+c";
        QTest::newRow("cut") << "ctrl+x";
        QTest::newRow("paste") << "ctrl+v";
    }

    void shortcuts_follow_the_state()
    {
        QFETCH(QString, chord);
        view()->undoer()->clear();
        QApplication::clipboard()->setText("not buttons");
        TRY_VERIFY(!has_buttons_on_clipboard());
        QVERIFY(glance_at_edit_menu());

        const int index = lone_button();
        const int buttons = view()->buttons().size();
        const QPoint pos = view()->buttons().at(index).pos;
        QVERIFY(pick(index));
        if (chord == "ctrl+z" || chord == "ctrl+shift+z") {
            QVERIFY(xdo::key("Right"));
            TRY_COMPARE(view()->buttons().at(index).pos, pos + QPoint(1, 0));
            if (chord == "ctrl+shift+z") {
                view()->undoer()->undo();
                QCOMPARE(view()->buttons().at(index).pos, pos);
            }
            QVERIFY(xdo::key(chord));
            TRY_COMPARE(view()->buttons().at(index).pos, chord == "ctrl+z" ? pos : pos + QPoint(1, 0));
        } else if (chord == "ctrl+c") {
            QVERIFY(xdo::key(chord));
            TRY_VERIFY(has_buttons_on_clipboard());
            QCOMPARE(view()->buttons().size(), buttons);
        } else if (chord == "ctrl+x") {
            QVERIFY(xdo::key(chord));
            TRY_VERIFY(has_buttons_on_clipboard());
            QCOMPARE(view()->buttons().size(), buttons - 1);
            view()->undoer()->undo();
        } else {
            copyButtonsToClipboard(view()->getButtons());
            TRY_VERIFY(has_buttons_on_clipboard());
            QVERIFY(xdo::key(chord));
            TRY_COMPARE(view()->buttons().size(), buttons + 1);
            view()->undoer()->undo();
        }
        QCOMPARE(view()->buttons().size(), buttons);
    }

    // Return in the label field applies the label and gives the keys back
    // to the canvas: Ctrl+Z undoes it at once, the pointer still on the field.
    void undo_right_after_a_label()
    {
        auto* label = window()->findChild<QLineEdit*>();
        QVERIFY(label);
        const int index = lone_button();
        const QString before = view()->buttons().at(index).label;
        QVERIFY(pick(index));
        QVERIFY(xdo::click_at(global_centre(label)));
        TRY_COMPARE(QApplication::focusWidget(), label);
        QVERIFY(xdo::key("ctrl+a"));
        QVERIFY(xdo::type("Knee"));
        QVERIFY(xdo::key("Return"));
        TRY_COMPARE(view()->buttons().at(index).label, QString("Knee"));
        QVERIFY(xdo::key("ctrl+z"));
        TRY_COMPARE(view()->buttons().at(index).label, before);
    }

    // The picker's control floats: a double-click on its title leaves it
    // floating, the title offers no float button (only close), and it still
    // drags it. Docking is for a drag onto the main window or a command.
    void the_title_never_docks_the_picker()
    {
        QDockWidget* d = dock();
        QVERIFY(focus_editor());
        const int title = d->widget()->geometry().top();
        QVERIFY(title > 4);
        const QPoint grip = d->mapToGlobal(QPoint(d->width() / 3, title / 2));
        QVERIFY(xdo::double_click_at(grip));

        // Once the canvas has a later click, the double-click was handled.
        QVERIFY(xdo::click_at(empty_spot()));
        TRY_VERIFY(picker_has_keys());
        QVERIFY(d->isFloating());
        QVERIFY(d->isWindow());
        int buttons = 0;
        for (QAbstractButton* b : d->findChildren<QAbstractButton*>(QString(), Qt::FindDirectChildrenOnly))
            buttons += b->isVisible();
        QCOMPARE(buttons, 1);

        const QPoint was = d->pos();
        QVERIFY(xdo::drag(grip, grip + QPoint(60, 40)));
        TRY_COMPARE(d->pos(), was + QPoint(60, 40));
        QVERIFY(d->isFloating());
    }

    // Work is not lost to a key: Ctrl+W on a tab with unsaved changes and
    // Ctrl+Q on a modified scene both ask first, and Escape keeps everything.
    void nothing_closes_without_asking()
    {
        // The picker has a button the scene gained and no file holds.
        const int tabs = window()->tabs()->count();
        QVERIFY(view()->page()->modified());
        auto escape_next = [](QString* text) {
            modal_helper::with_next([text](QWidget* modal) {
                if (auto* box = qobject_cast<QMessageBox*>(modal))
                    *text = box->text();
                xdo::key("Escape");
            });
        };
        QString asked;
        QVERIFY(xdo::click_at(empty_spot()));
        TRY_VERIFY(picker_has_keys());
        escape_next(&asked);
        QVERIFY(xdo::key("ctrl+w"));
        TRY_VERIFY(asked.startsWith("Do you want to save the changes to the picker"));
        TRY_VERIFY(!QApplication::activeModalWidget());
        QCOMPARE(window()->tabs()->count(), tabs);

        main_->settle();
        QVERIFY(h.modified());
        asked.clear();
        QVERIFY(focus_editor());
        escape_next(&asked);
        QVERIFY(xdo::key("ctrl+q"));
        TRY_VERIFY(asked.startsWith("Save changes to"));
        TRY_VERIFY(!QApplication::activeModalWidget());
        QVERIFY(main_->isVisible());
        QCOMPARE(window()->tabs()->count(), tabs);
    }

    // Typing into the script editor with the pointer resting on the picker
    // types into the editor, wherever the picker sits. The picker stays
    // docked, as Maya docks a workspace control into its main window.
    void keys_stay_in_the_editor_data()
    {
        QTest::addColumn<bool>("docked");
        QTest::newRow("floating") << false;
        QTest::newRow("docked") << true;
    }

    void keys_stay_in_the_editor()
    {
        QFETCH(bool, docked);
        if (docked) {
            QVERIFY(h.execute(QString("workspaceControl -e -dockToMainWindow right 1 %1").arg(picker_main::control_name)));
            TRY_VERIFY(!dock()->isWindow() && view()->isVisible());
            QCOMPARE(static_cast<QWidget*>(view())->window(), static_cast<QWidget*>(main_));
            QVERIFY(QTest::qWaitForWindowExposed(main_));
        }
        // Lit buttons, for a stray Backspace to delete.
        h.execute("select -r \"hero:L_*_ctrl\"");
        main_->settle();
        TRY_VERIFY(view()->any_selected());
        const int buttons = view()->buttons().size();
        const double zoom = view()->zoom;
        const QPoint shift = view()->shift;
        QVERIFY(focus_editor());

        QVERIFY(xdo::move_to(global_centre(view())));
        TRY_VERIFY(view()->underMouse());
        QVERIFY(xdo::move_to(global_centre(view()) + QPoint(30, 20)));
        QVERIFY(xdo::type("fh"));
        QVERIFY(xdo::key("BackSpace"));
        QVERIFY(xdo::type("z"));
        TRY_COMPARE(mel_input()->toPlainText(), QString("fz"));
        QCOMPARE(QApplication::focusWidget(), mel_input());
        QCOMPARE(view()->buttons().size(), buttons);
        QCOMPARE(view()->zoom, zoom);
        QCOMPARE(view()->shift, shift);
        mel_input()->clear();
        docked_ = docked;
    }

    // Dragging the control's title onto the main window's right edge docks
    // it there, as Maya docks a workspace control dropped on a panel edge.
    void dragging_the_title_onto_the_main_window_docks_it()
    {
        QDockWidget* d = dock();
        QVERIFY(h.execute(QString("workspaceControl -e -floating true %1").arg(picker_main::control_name)));
        TRY_VERIFY(d->isFloating());
        d->move(main_->frameGeometry().right() + 40, 40);
        QVERIFY(QTest::qWaitForWindowExposed(d));
        TRY_VERIFY(!d->frameGeometry().intersects(main_->frameGeometry()));

        const QPoint grip = d->mapToGlobal(QPoint(d->width() / 3, d->widget()->geometry().top() / 2));
        const QPoint edge = main_->mapToGlobal(QPoint(main_->width() - 15, main_->height() / 2));
        QVERIFY(xdo::drag(grip, edge));
        TRY_VERIFY(!d->isFloating());
        QCOMPARE(main_->dockWidgetArea(d), Qt::RightDockWidgetArea);
        QCOMPARE(static_cast<QWidget*>(view())->window(), static_cast<QWidget*>(main_));
        QCOMPARE(query(QString("workspaceControl -q -floating %1").arg(picker_main::control_name)), QString("0"));
    }

    // Docked into the main window, a click still decides where keys go:
    // the canvas after a click on it, the editor after a click there.
    void keys_go_where_clicked_when_docked()
    {
        QVERIFY(docked_);
        QVERIFY(main_->isAncestorOf(view()));
        const int index = lone_button();
        const QPoint pos = view()->buttons().at(index).pos;
        QVERIFY(pick(index));
        QVERIFY(xdo::key("Right"));
        TRY_COMPARE(view()->buttons().at(index).pos, pos + QPoint(1, 0));
        QVERIFY(xdo::key("ctrl+z"));
        TRY_COMPARE(view()->buttons().at(index).pos, pos);
        QVERIFY(focus_editor());
        QVERIFY(xdo::type("ls"));
        QVERIFY(xdo::key("Right"));
        TRY_COMPARE(mel_input()->toPlainText(), QString("ls"));
        QCOMPARE(view()->buttons().at(index).pos, pos);
        mel_input()->clear();
    }

    // Closing the control hides the window with its tabs; the command
    // brings the same window back where it was, docked.
    void closing_and_reopening_keeps_the_tabs()
    {
        const QString name = picker_main::control_name;
        QVERIFY(h.execute("QuillmarshPicker new_tab; QuillmarshPicker rename_tab spare"));
        const QStringList tabs = tab_names();
        QWidget* before = picker_main::window_;
        QVERIFY(h.execute(QString("workspaceControl -e -close %1").arg(name)));
        TRY_VERIFY(!view()->isVisible());
        QCOMPARE(query(QString("workspaceControl -q -visible %1").arg(name)), QString("0"));
        QCOMPARE(query(QString("workspaceControl -q -exists %1").arg(name)), QString("1"));

        main_->run_mel("QuillmarshPicker", false);
        TRY_VERIFY(view()->isVisible());
        QCOMPARE(static_cast<QWidget*>(picker_main::window_), before);
        QCOMPARE(tab_names(), tabs);
        QVERIFY(main_->isAncestorOf(view()));
    }

    // A new session with the saved workspace: the control comes back empty
    // and its uiScript puts the picker back, from what the scene holds,
    // into that same control; no second one appears.
    void a_new_session_refills_the_control()
    {
        const QStringList tabs = tab_names();
        QPointer<QWidget> before = picker_main::window_;
        // The picker writes its tabs into the scene as the session ends.
        QVERIFY(h.execute("sandboxRestoreWorkspace"));
        QVERIFY(!before);
        TRY_VERIFY(view() && view()->isVisible());
        QCOMPARE(tab_names(), tabs);
        QCOMPARE(h.workspace_controls(), QStringList{picker_main::control_name});
        int controls = 0;
        for (QWidget* w : QApplication::allWidgets())
            controls += w->objectName() == picker_main::control_name;
        QCOMPARE(controls, 1);
        QVERIFY(dock()->isAncestorOf(view()));
        QVERIFY(main_->isAncestorOf(view()));
        QVERIFY(!h.output_text().contains("Error"));
    }

    // With Follow Selection checked in the Picker menu, selecting a
    // character's objects in the host brings up the tab driving it, or
    // rebinds the front tab to it, and leaves the keys where they were;
    // unchecked, the tabs stay. The choice outlives the window.
    // The demo's facial picker dragged as the animator drags it: values
    // live in the host, a drag one undo step, Shift a tenth as far, a
    // double-click back to the default, switches stepping, values set
    // elsewhere shown, the same picker driving the other character once
    // rebound, and following the face control picked in the host.
    void the_facial_picker_drags_through_the_window()
    {
        QVERIFY(h.execute("QuillmarshPicker set_tab hero_face"));
        main_->settle();
        view()->zoomWindow(2.0f, QPoint(0, 0));
        TRY_VERIFY(!view()->animating());
        const QString brow = "hero:face_ctrl.L_brow";
        QVERIFY(xdo::drag(on(brow, 0.5, 0.5), on(brow, 1.3, 0.5)));
        TRY_COMPARE(number("getAttr " + brow), 1.0);
        QCOMPARE(shown(brow), 1.0);
        QVERIFY(h.execute("undo"));
        QCOMPARE(number("getAttr " + brow), 0.0);
        TRY_COMPARE(shown(brow), 0.0);

        // Shift from the press on: a quarter of the track moves a fortieth
        // of the range (a tenth of a quarter), give or take the edge.
        QVERIFY(xdo::run({"keydown", "shift"}));
        const bool dragged = xdo::drag(on(brow, 0.5, 0.5), on(brow, 0.75, 0.5));
        QVERIFY(xdo::run({"keyup", "shift"}));
        QVERIFY(dragged);
        TRY_VERIFY(number("getAttr " + brow) > 0.04 && number("getAttr " + brow) < 0.07);
        QVERIFY(xdo::double_click_at(on(brow, 0.9, 0.5)));
        TRY_COMPARE(number("getAttr " + brow), 0.0);

        // A pad sets both plugs: the top right corner is both maxima.
        const QString eye = "hero:face_ctrl.L_eye_x";
        QVERIFY(xdo::drag(on(eye, 0.5, 0.5), on(eye, 1.5, -0.5)));
        TRY_COMPARE(number("getAttr hero:face_ctrl.L_eye_y"), 1.0);
        QCOMPARE(number("getAttr " + eye), 1.0);
        QVERIFY(h.execute("undo"));
        QCOMPARE(number("getAttr hero:face_ctrl.L_eye_y"), 0.0);
        QCOMPARE(number("getAttr " + eye), 0.0);

        // A switch steps on a click, one undo step each.
        const QString fk = "hero:settings_ctrl.L_arm_ikFk";
        QVERIFY(xdo::click_at(on(fk, 0.5, 0.5)));
        TRY_COMPARE(number("getAttr " + fk), 1.0);
        QVERIFY(xdo::click_at(on(fk, 0.5, 0.5)));
        TRY_COMPARE(number("getAttr " + fk), 0.0);
        QVERIFY(h.execute("undo"));
        QCOMPARE(number("getAttr " + fk), 1.0);
        TRY_COMPARE(shown(fk), 1.0);
        QVERIFY(h.execute("setAttr hero:settings_ctrl.L_arm_ikFk 0; setAttr hero:face_ctrl.jaw_open 0.5"));
        TRY_COMPARE(shown("hero:face_ctrl.jaw_open"), 0.5);

        // Rebound, the picker drives the sidekick's face and leaves the hero's.
        QVERIFY(h.execute("QuillmarshPicker update_namespace sidekick"));
        main_->settle();
        const QString theirs = "sidekick:face_ctrl.L_brow";
        QVERIFY(xdo::drag(on(theirs, 0.5, 0.5), on(theirs, -0.3, 0.5)));
        TRY_COMPARE(number("getAttr " + theirs), -1.0);
        QCOMPARE(number("getAttr " + brow), 0.0);

        // Following: the face control picked in the host brings the facial
        // picker up, bound to that character.
        QVERIFY(h.execute("QuillmarshPicker follow_selection 1; QuillmarshPicker set_tab hero"));
        h.execute("select -r hero:face_ctrl");
        TRY_COMPARE(current_tab(), QString("hero_face"));
        TRY_COMPARE(view()->page()->binding().main, QString("hero"));
        h.execute("select -r sidekick:L_hand_ctrl");
        TRY_COMPARE(current_tab(), QString("sidekick"));
        QVERIFY(h.execute("QuillmarshPicker follow_selection 0; QuillmarshPicker set_tab hero; select -cl"));
        QCOMPARE(h.error_count(), 0);
    }

    void the_picker_follows_the_host_selection()
    {
        QVERIFY(h.execute("QuillmarshPicker set_tab hero"));
        QVERIFY(!window()->follows_selection());
        h.execute("select -r sidekick:head_ctrl");
        main_->settle();
        QCOMPARE(current_tab(), QString("hero"));

        QVERIFY(toggle_follow_in_menu());
        QVERIFY(window()->follows_selection());
        QVERIFY(focus_editor());
        h.execute("select -r sidekick:L_hand_ctrl");
        TRY_COMPARE(current_tab(), QString("sidekick"));
        QCOMPARE(QApplication::focusWidget(), mel_input());
        QVERIFY(view()->any_selected());

        // No tab for the sidekick: the hero's picker fits, and is rebound.
        QVERIFY(h.execute("QuillmarshPicker close_tab; QuillmarshPicker set_tab hero"));
        h.execute("select -r sidekick:jaw_ctrl");
        TRY_COMPARE(view()->page()->binding().main, QString("sidekick"));
        QCOMPARE(current_tab(), QString("hero"));
        TRY_VERIFY(window()->tabs()->tabText(window()->tabs()->currentIndex()).startsWith("sidekick: hero"));
        QCOMPARE(QApplication::focusWidget(), mel_input());

        // A new window follows as the last one did.
        QVERIFY(h.execute("sandboxRestoreWorkspace"));
        TRY_VERIFY(view() && view()->isVisible());
        QVERIFY(window()->follows_selection());
        h.execute("select -r hero:head_ctrl");
        TRY_COMPARE(view()->page()->binding().main, QString("hero"));

        QVERIFY(toggle_follow_in_menu());
        QVERIFY(!window()->follows_selection());
        h.execute("select -r sidekick:jaw_ctrl");
        main_->settle();
        QCOMPARE(view()->page()->binding().main, QString("hero"));
        QVERIFY(h.execute("sandboxRestoreWorkspace"));
        TRY_VERIFY(view() && view()->isVisible());
        QVERIFY(!window()->follows_selection());
        mel_input()->clear();
    }

    // Last: unloading takes the control away, and the host finds nothing
    // the plug-in left behind.
    void unloading_leaves_no_control()
    {
        h.clear_output();
        QString error;
        QVERIFY2(h.unload_plugin("QuillmarshPicker", &error), qPrintable(error));
        QVERIFY(h.workspace_controls().isEmpty());
        QVERIFY(!MQtUtil::findControl(picker_main::control_name));
        QTRY_VERIFY(!main_->findChild<QDockWidget*>(picker_main::control_name));
        QVERIFY2(!h.output_text().contains("left"), qPrintable(h.output_text()));
        QCOMPARE(query(QString("workspaceControl -q -exists %1").arg(picker_main::control_name)), QString("0"));
    }

private:
    QString current_tab() { return query("QuillmarshPicker current_tab"); }

    const buttonRecord* bound_to(const QString& plug)
    {
        for (const buttonRecord& r : view()->buttons())
            if (r.names.value(0) == plug)
                return &r;
        return nullptr;
    }
    // A place on the button of the plug, as parts of its width and height,
    // on the screen.
    QPoint on(const QString& plug, double fx, double fy)
    {
        const buttonRecord* r = bound_to(plug);
        if (!r)
            return QPoint();
        const QRect box = view()->mapToScreen(r->bounds);
        return view()->mapToGlobal(box.topLeft() + QPoint(qRound(fx * box.width()), qRound(fy * box.height())));
    }
    // The value the button of the plug shows.
    double shown(const QString& plug)
    {
        const buttonRecord* r = bound_to(plug);
        return r ? r->value[0] : qQNaN();
    }
    double number(const QString& mel) { return query(mel).toDouble(); }

    // Picker > Follow Selection, clicked as the animator would.
    bool toggle_follow_in_menu()
    {
        QMenu* picker = open_menu("&Picker");
        if (!picker)
            return false;
        QAction* follow = nullptr;
        for (QAction* a : picker->actions())
            if (a->text() == "Follow Selection")
                follow = a;
        const bool was = follow && follow->isChecked();
        if (!follow || !xdo::click_at(picker->mapToGlobal(picker->actionGeometry(follow).center())))
            return false;
        return QTest::qWaitFor([&] { return !picker->isVisible() && follow->isChecked() != was; }, patience);
    }

    QStringList tab_names()
    {
        mel::value v;
        return h.execute("QuillmarshPicker query_tabs", &v) ? v.to_strings() : QStringList{"(failed)"};
    }

    QString query(const QString& text)
    {
        mel::value v;
        return h.execute(text, &v) ? v.to_string() : QString("(failed)");
    }
};

int main(int argc, char* argv[])
{
    x_session x;
    const QString why = x.start();
    if (!why.isEmpty()) {
        std::fprintf(stderr, "test_gui: %s\n", qPrintable(why));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    test_gui test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_gui.moc"
