// The picker window on its own: tabs, the selection it sends to the host,
// scene storage commands, its stream and its keys.
#include "edit/button_commands.h"
#include "edit/property_commands.h"
#include "model/name_ids.h"
#include "model/name_list.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "modal_helper.h"
#include "pkr_file.h"
#include "recording_host.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QAction>
#include <QDockWidget>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMainWindow>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QStandardPaths>
#include <QtTest>

namespace {

QByteArray read_file(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A host main window that notes the keys reaching it.
struct key_catcher : QMainWindow {
    QStringList keys;
    void keyPressEvent(QKeyEvent* e) override
    {
        const bool modifier = e->key() == Qt::Key_Control || e->key() == Qt::Key_Shift || e->key() == Qt::Key_Alt;
        if (!modifier)
            keys << QKeySequence(int(e->modifiers()) | e->key()).toString();
        e->accept();
    }
};

picker_view* view_at(picker_window& w, int i)
{
    return qobject_cast<picker_view*>(w.tabs()->widget(i));
}

void give_background(picker_view* view, const QString& key)
{
    view->setBackground(key, filled_picture(2, 2, Qt::green));
}

} // namespace

class test_window : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() { picker_window::set_selection_names({}); }

    void post_selection_sends_only_object_names_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("sent");
        QTest::newRow("plain") << QStringList{"hero:L_arm_ctrl", "|grp|node", "body.vtx[0:3]", "a*", "b?-1"}
                               << "QuillmarshPicker select hero:L_arm_ctrl |grp|node body.vtx[0:3] a* b?-1";
        QTest::newRow("semicolon") << QStringList{"a;file -f -new", "ok"} << "QuillmarshPicker select ok";
        QTest::newRow("quotes and back quotes")
            << QStringList{"a\"b", "`ls`", "c'd", "ok"} << "QuillmarshPicker select ok";
        QTest::newRow("dollar, blank, line break")
            << QStringList{"$x", "a b", "a\nb", "a\tb", "ok"} << "QuillmarshPicker select ok";
        QTest::newRow("only bad names clear") << QStringList{"a;b"} << "QuillmarshPicker clear";
        QTest::newRow("flags") << QStringList{"-rf", "ok"} << "QuillmarshPicker select ok";
    }

    void post_selection_sends_only_object_names()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, sent);
        recording_host host;
        picker_window w(nullptr);
        view_at(w, 0)->push_button(button_at(QPoint(10, 10), names), -1);
        view_at(w, 0)->page()->select(0, false);
        QCOMPARE(picker_window::selection(), names);
        host.mel.clear();
        QVERIFY(w.postSelection());
        QCOMPARE(host.mel, QStringList{sent});
    }

    void name_list_keeps_each_name_once_in_order()
    {
        name_list& list = name_list::picker();
        auto add = [&](const QString& name) { return list.add(name_ids::intern(name)); };
        auto drop = [&](const QString& name) { return list.remove(name_ids::intern(name)); };
        QVERIFY(add("a"));
        QVERIFY(!add("a"));
        QVERIFY(add("A"));
        QCOMPARE(picker_window::selection(), (QStringList{"a", "A"}));
        QVERIFY(drop("a"));
        QVERIFY(!drop("a"));
        QCOMPARE(picker_window::selection(), QStringList{"A"});
        {
            // A name dropped and taken again inside a batch goes to the end,
            // as it does outside one; reading mid-batch sees the same list.
            picker_window::selection_batch batch;
            add("b");
            add("c");
            drop("b");
            drop("A");
            add("b");
            QCOMPARE(picker_window::selection(), (QStringList{"c", "b"}));
            drop("c");
            add("c");
            add("A");
        }
        QCOMPARE(picker_window::selection(), (QStringList{"b", "c", "A"}));
        picker_window::set_selection_names({"x", "y", "x"});
        QCOMPARE(picker_window::selection(), (QStringList{"x", "y"}));
        QVERIFY(!add("y"));
        QVERIFY(add("b"));
    }

    void renamed_button_passes_its_new_names()
    {
        // A button's names are passed by id; ids made before an edit of the
        // names must not outlive it.
        picker_window w(nullptr);
        picker_view* view = view_at(w, 0);
        view->push_button(button_at(QPoint(10, 10), {"old1", "old2"}), -1);
        picker_page* page = view->page();
        page->select(0, false);
        page->unselect(0, false);
        page->set_names(0, {"old1", "new2"});
        page->select(0, false);
        QCOMPARE(picker_window::selection(), (QStringList{"old1", "new2"}));
        buttonRecord copy = page->at(0);
        copy.names = QStringList{"other"};
        copy.unselect(true);
        copy.select(false);
        QCOMPARE(picker_window::selection(), (QStringList{"old1", "new2", "other"}));
    }

    void restored_pickers_start_framed()
    {
        // A picture larger than the window, and a button beyond it: after a
        // restore, both are in view whichever tab is shown first.
        recording_host host;
        QByteArray data;
        {
            picker_window w(nullptr);
            w.place_background(w.frontPicker(), "5", filled_picture(600, 500, Qt::darkGray));
            buttonAttributes far = button_at(QPoint(10, 10), {"far"});
            far.pos = QPoint(650, 520);
            w.frontPicker()->push_button(far, -1);
            w.new_tab();
            w.frontPicker()->push_button(button_at(QPoint(10, 10), {"near"}), -1);
            QDataStream out(&data, QIODevice::WriteOnly);
            w.streamTo(out);
        }
        picker_window w(nullptr);
        w.resize(400, 400);
        QDataStream in(data);
        w.streamFrom(in);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        for (int i : {1, 0}) {
            w.tabs()->setCurrentIndex(i);
            QTest::qWait(20);
            picker_view* view = view_at(w, i);
            const QRect everything = view->button_bounds(false) | view->background().rect();
            QVERIFY2(view->rect().contains(view->mapToScreen(everything)), qPrintable(QString("tab %1").arg(i)));
        }
    }

    // A tab asks before it goes only when a file would lose its changes,
    // and a closed tab comes back, into the scene too.
    void closing_a_tab_asks_only_for_unsaved_changes()
    {
        recording_host host;
        QTemporaryDir folder;
        picker_window w(nullptr);
        // An empty tab has nothing to lose and goes without a question.
        w.new_tab();
        modal_helper::last_text().clear();
        modal_helper::answer_next("Cancel", 5);
        QVERIFY(w.close_one(1));
        QTest::qWait(100);
        QCOMPARE(w.tabs()->count(), 1);
        QVERIFY(modal_helper::last_text().isEmpty());
        QVERIFY(w.closedTabs().isEmpty());
        w.flushSceneData(false);
        host.clear();

        QCOMPARE(w.tabs()->tabText(0), QString("Untitled"));
        view_at(w, 0)->push_button(button_at(QPoint(10, 10), {"a"}), -1);
        QCOMPARE(w.tabs()->tabText(0), QString("Untitled*"));
        QCOMPARE(w.tab_name(0), QString("Untitled"));
        w.flushSceneData(false);
        const QByteArray with_tab = w.encodedSceneData();
        host.clear();
        modal_helper::answer_next("Cancel");
        QVERIFY(!w.close_one(0));
        QCOMPARE(modal_helper::last_text(), QString("Do you want to save the changes to the picker \"Untitled\"?"));
        QCOMPARE(w.tabs()->count(), 1);
        QVERIFY(host.mel.isEmpty());
        QVERIFY(!w.flushSceneData(false));
        modal_helper::answer_next("Don't Save");
        QVERIFY(w.close_one(0));
        QCOMPARE(w.tabs()->count(), 0);
        QCOMPARE(host.mel, QStringList{"QuillmarshPicker flush"});
        QVERIFY(w.flushSceneData(false));
        QVERIFY(w.frontPicker() == nullptr);

        // Reopened: the same picker, still marked, and in the scene again.
        QCOMPARE(w.closedTabs().size(), 1);
        QVERIFY(w.reopen_closed_tab());
        QCOMPARE(w.tabs()->count(), 1);
        QCOMPARE(w.tabs()->tabText(0), QString("Untitled*"));
        QCOMPARE(view_at(w, 0)->page()->attributes(), QList<buttonAttributes>{button_at(QPoint(10, 10), {"a"})});
        QVERIFY(w.flushSceneData(false));
        QCOMPARE(w.encodedSceneData(), with_tab);
        QVERIFY(!w.reopen_closed_tab());

        // Save As adds the extension Open lists, and does not replace the
        // file that name meets unasked.
        const QString plain = folder.filePath("hero");
        QFile taken(plain + ".pkr");
        QVERIFY(taken.open(QIODevice::WriteOnly) && taken.write("old") == 3);
        taken.close();
        modal_helper::answer_in_turn({plain, "No"});
        QVERIFY(!w.save_view_as(view_at(w, 0)));
        QCOMPARE(modal_helper::last_text(), QString("\"%1.pkr\" already exists.\n\nDo you want to replace it?")
                                                .arg(QDir::toNativeSeparators(plain)));
        QCOMPARE(read_file(plain + ".pkr"), QByteArray("old"));
        modal_helper::answer_in_turn({folder.filePath("arm")});
        QVERIFY(w.save_view_as(view_at(w, 0)));
        QCOMPARE(view_at(w, 0)->path(), folder.filePath("arm.pkr"));
        QVERIFY(QFileInfo(folder.filePath("arm.pkr")).size() > 0);
        QCOMPARE(host.infos, QStringList{QString("Saved the picker \"Untitled\" to %1.")
                                             .arg(QDir::toNativeSeparators(folder.filePath("arm.pkr")))});
        QCOMPARE(w.tabs()->tabText(0), QString("Untitled"));
        // The next Save As starts there, named after its tab.
        QVERIFY(w.new_tab());
        w.set_tab_text(1, "L/R arm");
        QString started;
        modal_helper::with_next([&started](QWidget* dialog) {
            auto* files = qobject_cast<QFileDialog*>(dialog);
            started = files->directory().filePath(files->selectedFiles().value(0));
            files->reject();
        });
        QVERIFY(!w.save_view_as(view_at(w, 1)));
        QCOMPARE(started, folder.filePath("L_R arm.pkr"));
        QVERIFY(w.close_one(1));

        // A picker its file holds as it is closes without a question; an
        // edit marks it again, and Save in the question saves it to its file.
        modal_helper::last_text().clear();
        QVERIFY(w.close_one(0));
        QVERIFY(modal_helper::last_text().isEmpty());
        QVERIFY(w.reopen_closed_tab());
        QCOMPARE(w.tabs()->tabText(0), QString("Untitled"));
        view_at(w, 0)->push_button(button_at(QPoint(40, 10), {"b"}), -1);
        QCOMPARE(w.tabs()->tabText(0), QString("Untitled*"));
        const QByteArray before = read_file(folder.filePath("arm.pkr"));
        modal_helper::answer_next("Save");
        QVERIFY(w.close_one(0));
        QVERIFY(read_file(folder.filePath("arm.pkr")) != before);
        QCOMPARE(w.tabs()->count(), 0);
    }

    void changes_between_flushes_write_once()
    {
        recording_host host;
        picker_window w(nullptr);
        view_at(w, 0)->signal_changed();
        w.new_tab();
        w.set_tab_text(1, "face");
        w.tabs()->setCurrentIndex(0);
        QCOMPARE(host.mel, QStringList{"QuillmarshPicker flush"});
        QVERIFY(w.flushSceneData(false));
        QCOMPARE(host.now.size(), 1);
        // Nothing changed since: neither a queued nor a forced flush writes.
        QVERIFY(!w.flushSceneData(false));
        QVERIFY(!w.flushSceneData(true));
        QCOMPARE(host.now.size(), 1);
        w.set_tab_text(1, "face");
        QVERIFY2(!w.sceneChangePending(), "the same text is no change");
    }

    void image_entries_follow_the_tabs_data()
    {
        // Keys of the tabs, the tab closed, and whether its entry goes.
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<int>("closed");
        QTest::addColumn<bool>("removed");
        QTest::newRow("alone") << QStringList{"1", "2", "3"} << 0 << true;
        QTest::newRow("shared further on") << QStringList{"1", "2", "1"} << 0 << false;
        QTest::newRow("shared before") << QStringList{"1", "2", "1"} << 2 << false;
        QTest::newRow("no key") << QStringList{"", "", ""} << 1 << false;
    }

    void image_entries_follow_the_tabs()
    {
        QFETCH(QStringList, keys);
        QFETCH(int, closed);
        QFETCH(bool, removed);
        recording_host host;
        picker_window w(nullptr);
        w.clear_tabs();
        for (const QString& key : keys) {
            w.new_tab();
            if (!key.isEmpty())
                give_background(w.frontPicker(), key);
        }
        w.flushSceneData(false);
        QStringList written = host.now.filter("QuillmarshPickerImage_");
        QSet<QString> distinct(keys.begin(), keys.end());
        distinct.remove(QString());
        QCOMPARE(written.size(), distinct.size());
        host.clear();
        w.close_tab(closed);
        w.flushSceneData(false);
        QCOMPARE(w.tabs()->count(), keys.size() - 1);
        QStringList expected;
        if (removed)
            expected << QString("fileInfo -remove \"QuillmarshPickerImage_%1\"; file -modified 1;").arg(keys[closed]);
        QCOMPARE(host.now.filter("QuillmarshPickerImage_"), expected);
    }

    void destroying_the_window_keeps_scene_images()
    {
        recording_host host;
        {
            picker_window w(nullptr);
            give_background(w.frontPicker(), "7");
            w.adoptScene(w.encodedSceneData());
            host.clear();
        }
        QVERIFY(host.mel.isEmpty());
        QVERIFY(host.now.isEmpty());
    }

    void image_commands()
    {
        recording_host host;
        picker_window w(nullptr);
        picker_view* view = w.frontPicker();
        w.flushSceneData(true);
        QVERIFY2(host.now.filter("QuillmarshPickerImage_").isEmpty(), "no key, no command");
        give_background(view, "99");
        w.adoptScene(w.encodedSceneData(), {"99"});
        host.clear();
        view->setBackground(QString(), png_picture());
        w.flushSceneData(false);
        QCOMPARE(host.now.filter("QuillmarshPickerImage_"),
                 QStringList{"fileInfo -remove \"QuillmarshPickerImage_99\"; file -modified 1;"});
        host.clear();
        w.request_rebind(true);
        w.request_rebind(false);
        QCOMPARE(host.mel, (QStringList{"QuillmarshPicker \"rebind\" `picker_ListNamespaces`;",
                                        "QuillmarshPicker \"bind\" `picker_ListNamespaces`;"}));
    }

    void scene_text_decodes_to_the_window_stream_data()
    {
        // Tabs as "key:buttons", a key of "-" for no picture.
        QTest::addColumn<QStringList>("tabs");
        QTest::newRow("no tabs") << QStringList{};
        QTest::newRow("several pictures") << QStringList{"11:5", "-:0", "12:300"};
        QTest::newRow("shared picture") << QStringList{"11:2", "11:1"};
        QTest::newRow("many chunks") << QStringList{"-:1000"};
    }

    void scene_text_decodes_to_the_window_stream()
    {
        QFETCH(QStringList, tabs);
        recording_host host;
        picker_window w(nullptr);
        w.clear_tabs();
        const png_picture shared = filled_picture(40, 30, Qt::darkCyan);
        for (const QString& tab : tabs) {
            w.new_tab();
            const QStringList parts = tab.split(':');
            if (parts[0] != "-") {
                const png_picture own = filled_picture(17 + parts[0].toInt(), 9, QColor(parts[0].toInt() * 10, 80, 40));
                w.frontPicker()->setBackground(parts[0], parts[0] == "11" ? shared : own);
            }
            for (int i = 0; i < parts[1].toInt(); ++i) {
                buttonAttributes a = button_at(QPoint(10, 10), {QString("rig:b%1").arg(i)});
                a.pos = QPoint(i % 40 * 12, i / 40 * 12);
                a.label = QString("b%1").arg(i);
                w.frontPicker()->push_button(a, -1);
            }
        }
        auto check = [&w](const char* step) {
            QByteArray stream;
            {
                QDataStream out(&stream, QIODevice::WriteOnly);
                w.streamTo(out);
            }
            const QByteArray text = w.encodedSceneData();
            QVERIFY2(qUncompress(QByteArray::fromBase64(text)) == stream, step);
            QVERIFY2(decode_picker_data(text) == stream, step);
        };
        check("as built");
        check("again, from the cached pieces");
        if (tabs.isEmpty()) { // the version, no tabs and no current one
            const QByteArray text = w.encodedSceneData();
            QCOMPARE(qUncompress(QByteArray::fromBase64(text)).toHex(), QByteArray("00000007" "00000000" "ffffffff"));
            w.flushSceneData(true);
            QCOMPARE(host.now, QStringList{"fileInfo \"QuillmarshPickerData\" \"" + text + "\"; file -modified 1;"});
        }
        picker_view* view = w.frontPicker();
        if (view && !view->buttons().isEmpty()) {
            view->page()->select(view->buttons().size() - 1, true);
            view->undoer()->push(new nudge_buttons_cmd(view->page(), QPoint(1, 0)));
            check("nudge");
            view->undoer()->push(new change_color_cmd(view->page(), 0x00ff00));
            check("colour");
            view->undoer()->push(new change_label_cmd(view->page(), "renamed"));
            check("label");
            view->undoer()->undo();
            check("undo");
            view->undoer()->push(new delete_buttons_cmd(view->page()));
            check("delete");
            view->push_button(button_at(QPoint(10, 10), {"rig:new"}), 0);
            check("insert at the front");
        }
        w.new_tab();
        w.set_tab_text(w.tabs()->count() - 1, "added");
        check("new tab");
        w.place_background(w.frontPicker(), "77", filled_picture(5, 5, Qt::yellow));
        check("picture set");
        w.frontPicker()->setBackground(QString(), png_picture());
        check("picture cleared");
        w.close_tab(0);
        check("tab closed");
    }

    void window_stream_damage_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("tabs");
        QTest::addColumn<int>("current");
        auto ints = [](QVector<qint32> values) {
            QByteArray b;
            QDataStream out(&b, QIODevice::WriteOnly);
            for (qint32 v : values)
                out << v;
            return b;
        };
        QByteArray empty_tab = ints({0}) + QByteArray("\xff\xff\xff\xff", 4) + QByteArray("\xff\xff\xff\xff", 4) + ints({0});
        QByteArray three = ints({5, 3, 7});
        for (int i = 0; i < 3; ++i)
            three += ints({i}) + QByteArray("\xff\xff\xff\xff", 4) + QByteArray("\xff\xff\xff\xff", 4) + ints({0});
        QTest::newRow("current out of range") << three << 3 << 0;
        QTest::newRow("two billion tabs") << ints({5, 2000000000, 0}) << 0 << -1;
        QTest::newRow("negative count") << ints({5, -4, 0}) << 0 << -1;
        QTest::newRow("one good tab, then nothing") << ints({5, 2, 0}) + empty_tab << 1 << 0;
    }

    void window_stream_damage()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, tabs);
        QFETCH(int, current);
        recording_host host;
        picker_window w(nullptr);
        QDataStream in(bytes);
        w.streamFrom(in);
        QCOMPARE(w.tabs()->count(), tabs);
        QCOMPARE(w.tabs()->currentIndex(), current);
    }

    void setting_the_selection_conforms_every_tab()
    {
        recording_host host;
        picker_window w(nullptr);
        view_at(w, 0)->push_button(button_at(QPoint(10, 10), {"a"}), -1);
        w.new_tab();
        w.frontPicker()->push_button(button_at(QPoint(10, 10), {"a", "b"}), -1);
        host.clear();
        w.setSelection({"a"});
        QCOMPARE(int(view_at(w, 0)->buttons()[0].selected), 1);
        QCOMPARE(int(view_at(w, 1)->buttons()[0].selected), 2);
        w.clearAllSelected();
        QCOMPARE(int(view_at(w, 0)->buttons()[0].selected), 0);
        QCOMPARE(view_at(w, 1)->buttons()[0].nameFlags, (name_flags{0, 0}));
        QVERIFY(picker_window::selection().isEmpty());
        QVERIFY(host.mel.isEmpty());
    }

    void keys_without_tabs_reach_the_base_handler()
    {
        recording_host host;
        picker_window w(nullptr);
        w.clear_tabs();
        host.clear();
        w.show();
        w.setFocus();
        QTest::keyClick(&w, Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(w.frontPicker() == nullptr);
        QVERIFY(host.mel.isEmpty());
    }

    // From a floating picker, the keys it has no use for go on to the main
    // window it belongs to; its own keys never do, even with nothing to act on.
    void unused_keys_reach_the_main_window_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("inLabel"); // typed in the toolbox's label field
        QTest::addColumn<QString>("reached");
        QTest::newRow("letter") << int(Qt::Key_W) << 0 << false << "W";
        QTest::newRow("chord") << int(Qt::Key_D) << int(Qt::ControlModifier) << false << "Ctrl+D";
        QTest::newRow("backspace, nothing lit") << int(Qt::Key_Backspace) << 0 << false << "";
        QTest::newRow("undo, nothing to undo") << int(Qt::Key_Z) << int(Qt::ControlModifier) << false << "";
        QTest::newRow("nudge") << int(Qt::Key_Left) << 0 << false << "";
        QTest::newRow("typed in the label") << int(Qt::Key_W) << 0 << true << "";
        QTest::newRow("arrow in the label") << int(Qt::Key_Up) << 0 << true << "Up";
    }

    void unused_keys_reach_the_main_window()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, inLabel);
        QFETCH(QString, reached);
        recording_host host;
        key_catcher main;
        auto* dock = new QDockWidget(&main);
        auto* w = new picker_window(dock);
        dock->setWidget(w);
        main.addDockWidget(Qt::RightDockWidgetArea, dock);
        dock->setFloating(true);
        main.show();
        dock->show();
        QApplication::setActiveWindow(dock);
        picker_view* view = w->frontPicker();
        view->push_button(button_at(QPoint(20, 20), {"a"}), -1);
        QWidget* target = view;
        if (inLabel)
            target = w->findChild<QLineEdit*>();
        target->setFocus();
        QCOMPARE(QApplication::focusWidget(), target);
        QTest::keyClick(target, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(main.keys.join(' '), reached);
        QCOMPARE(view->buttons().size(), 1);
    }

    void one_key_triggers_every_action_bound_to_it()
    {
        recording_host host;
        picker_window w(nullptr);
        w.show();
        QApplication::setActiveWindow(&w);
        w.setFocus();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        int fired = 0;
        QAction* extra = new QAction("again", &w);
        w.setWidgetShortcut(extra, QKeySequence("Ctrl+N"));
        connect(extra, &QAction::triggered, [&] { ++fired; });
        w.addAction(extra);
        QTest::keyClick(&w, Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(fired, 1);
        QCOMPARE(w.tabs()->count(), 2); // "New..." ran too
    }
};

QTEST_MAIN(test_window)
#include "test_window.moc"
