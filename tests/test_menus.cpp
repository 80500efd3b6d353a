// The window's menus, files, recent pickers, toolbox and colour menu.
#include "edit/clipboard.h"
#include "modal_helper.h"
#include "model/undo_chunk.h"
#include "pkr_file.h"
#include "model/picker_stream.h"
#include "recording_host.h"
#include "view/picker_view.h"
#include "window/color_menu.h"
#include "window/command_dialog.h"
#include "window/picker_window.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QUndoStack>
#include <QtTest>

#include <sys/stat.h>

namespace {

QAction* find_action(QWidget* w, const QString& text)
{
    for (QAction* a : w->findChildren<QAction*>())
        if (a->text() == text)
            return a;
    return nullptr;
}

} // namespace

class test_menus : public QObject {
    Q_OBJECT

    recording_host* host = nullptr;
    picker_window* window = nullptr;
    QTemporaryDir dir;

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        picker_window::set_selection_names({});
        QFile::remove(recent_pickers_path());
        host = new recording_host;
        window = new picker_window(nullptr);
    }

    void cleanup()
    {
        delete window;
        delete host;
    }

    void tokenize_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("tokens");
        QTest::newRow("joined") << "name=path" << QStringList{"name", "=", "path"};
        QTest::newRow("equals joined, blank after") << "name= path" << QStringList{"name", "=", "", "path"};
        QTest::newRow("quoted with comment")
            << "body = \"/shows/a b/body.pkr\" # the body" << QStringList{"body", "=", "/shows/a b/body.pkr"};
        QTest::newRow("single quotes, empty") << "'' = 'x y'" << QStringList{"", "=", "x y"};
        QTest::newRow("hash inside words") << "a#b = \"c#d\"" << QStringList{"a#b", "=", "c#d"};
        QTest::newRow("comment only") << "   # nothing here" << QStringList{};
        QTest::newRow("unterminated quote") << "n = \"open" << QStringList{"n", "=", "open"};
    }

    void tokenize()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, tokens);
        QStringList out;
        QCOMPARE(::tokenize(line.size(), line, out), tokens.size());
        QCOMPARE(out, tokens);
        QStringList cut;
        ::tokenize(4, "abcdefg", cut);
        QCOMPARE(cut, QStringList{"abcd"});
    }

    void recent_pickers_from_the_configuration()
    {
        const QString pkr = dir.filePath("arm.pkr");
        QVERIFY(window->do_save(window->frontPicker(), pkr));
        QFile config(dir.filePath("recent.cfg"));
        QVERIFY(config.open(QIODevice::WriteOnly | QIODevice::Text));
        config.write(QString("# studio pickers\narm = \"%1\"\nbroken= x\nlegs = '/pickers/legs one.pkr'\n").arg(pkr).toUtf8());
        config.close();
        window->parse_picker_config(config.fileName());
        window->parse_picker_config(dir.filePath("missing.cfg"));
        // The save made just before heads the list.
        QCOMPARE(window->recentNames(), (QStringList{"Untitled", "arm", "legs"}));
        QCOMPARE(window->recentPickers().value("legs"), QString("/pickers/legs one.pkr"));
        QAction* arm = find_action(window, "arm");
        QVERIFY(arm);
        QVERIFY(window->actions().contains(arm));
        arm->trigger();
        QCOMPARE(window->tabs()->count(), 2);
        QCOMPARE(window->frontPicker()->path(), pkr);
    }

    void a_huge_or_strange_configuration_is_read_in_part_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("200,000 entries") << "huge";
        QTest::newRow("a FIFO nobody writes to") << "fifo";
    }
    void a_huge_or_strange_configuration_is_read_in_part()
    {
        // The window reads the list as it is made: it must open at once and
        // show only the newest entries, which come first.
        QFETCH(QString, kind);
        const QString config = recent_pickers_path();
        QVERIFY(QDir().mkpath(QFileInfo(config).absolutePath()));
        QStringList newest;
        if (kind == "fifo") {
            QCOMPARE(::mkfifo(QFile::encodeName(config).constData(), 0600), 0);
        } else {
            QByteArray text = "# newest first\n";
            for (int i = 0; i < 200000; ++i)
                text += QString("p%1 = \"/pickers/p%1.pkr\"\n").arg(i).toUtf8();
            QFile file(config);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(text), qint64(text.size()));
            for (int i = 0; i < picker_window::max_recent; ++i)
                newest << QString("p%1").arg(i);
        }
        picker_window fresh(nullptr);
        QCOMPARE(fresh.recentNames(), newest);
        QCOMPARE(fresh.recentPickers().value("p9", "none"), newest.isEmpty() ? "none" : "/pickers/p9.pkr");
        QFile::remove(config);
    }

    void opening_and_saving_keep_a_short_recent_list()
    {
        // Saved one after another, each picker goes to the top; the list
        // keeps the newest ten, and a new window reads them back in order.
        picker_view* view = window->frontPicker();
        view->push_button(button_at(QPoint(3, 4), {"a"}), -1);
        QStringList paths;
        for (int i = 0; i < 12; ++i) {
            window->set_tab_text(0, QString("p%1").arg(i));
            paths << dir.filePath(QString("p%1.pkr").arg(i));
            QVERIFY(window->do_save(view, paths.last()));
        }
        QStringList newest;
        for (int i = 11; i >= 2; --i)
            newest << QString("p%1").arg(i);
        QCOMPARE(window->recentNames(), newest);
        window->load_one_picker(paths[5]);
        newest.removeAll("p5");
        newest.prepend("p5");
        QCOMPARE(window->recentNames(), newest);
        QCOMPARE(window->recentPickers().value("p5"), paths[5]);
        // The same file saved under another name replaces its entry.
        window->set_tab_text(0, "renamed");
        QVERIFY(window->do_save(view, paths[11]));
        newest.removeAll("p11");
        newest.prepend("renamed");
        QCOMPARE(window->recentNames(), newest);

        QCoreApplication::processEvents(); // the list's file is written at idle time
        picker_window again(nullptr);
        QCOMPARE(again.recentNames(), newest);
        QCOMPARE(again.recentPickers().value("renamed"), paths[11]);
    }

    void save_as_paths()
    {
        // "Save" on a never-saved tab asks for a name; a failed Save As leaves no path.
        modal_helper::answer_next(dir.filePath("first.pkr"));
        window->save_current();
        QCOMPARE(window->frontPicker()->path(), dir.filePath("first.pkr"));
        QVERIFY(QFile::exists(dir.filePath("first.pkr")));
        modal_helper::answer_in_turn({dir.filePath("no/such/folder/x.pkr"), "OK"});
        window->saveas_current();
        QVERIFY(window->frontPicker()->path().isEmpty());
        window->request_save();
        window->request_saveas();
        QCOMPARE(host->mel.mid(host->mel.size() - 2), (QStringList{"QuillmarshPicker save", "QuillmarshPicker saveas"}));
    }

    void opening_several_files_offers_cancel_and_ignore()
    {
        const QString a = dir.filePath("a.pkr"), c = dir.filePath("c.pkr");
        window->set_tab_text(0, "a");
        QVERIFY(window->do_save(window->frontPicker(), a));
        window->set_tab_text(0, "c");
        QVERIFY(window->do_save(window->frontPicker(), c));
        QFile junk(dir.filePath("notes.pkr"));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("shopping list");
        junk.close();
        const QStringList files{a, dir.filePath("missing.pkr"), junk.fileName(), c};

        // Past a missing file and one that is no picker alike.
        modal_helper::answer_in_turn({"Ignore", "Ignore"});
        window->load_pickers(files);
        QCOMPARE(window->tabs()->count(), 3);
        QCOMPARE(window->tabs()->tabText(2), QString("c"));
        QCOMPARE(window->frontPicker()->path(), c);
        QVERIFY(modal_helper::last_text().contains("notes.pkr"));

        modal_helper::answer_next("Cancel");
        window->load_pickers(files);
        QCOMPARE(window->tabs()->count(), 4);

        // One file alone: just OK.
        modal_helper::answer_next("OK");
        window->load_one_picker(dir.filePath("gone.pkr"));
        QCOMPARE(modal_helper::last_text(),
                 QString("Could not open the file \"%1\".\n\nPlease check the file permissions and try again.")
                     .arg(QDir::toNativeSeparators(dir.filePath("gone.pkr"))));
        // Each loaded picker is written to the scene and bound to its namespaces.
        QVERIFY(host->mel.contains("QuillmarshPicker \"bind\" `picker_ListNamespaces`;"));
    }

    // The actions follow the state as it changes, menu opened or not: the
    // shortcuts act on what the actions say.
    void menus_follow_tabs_selection_and_clipboard()
    {
        QAction* cut = find_action(window, "Cut");
        QAction* paste = find_action(window, "Paste");
        QAction* inPlace = find_action(window, "Paste in Place");
        QAction* addOne = find_action(window, "Add One Button");
        QAction* rename = find_action(window, "Rename Tab...");
        QAction* space = find_action(window, "Change Namespace...");
        QAction* save = find_action(window, "Save");
        QAction* undo = find_action(window, "Can't Undo");
        QAction* redo = find_action(window, "Can't Redo");
        QVERIFY(undo && redo);
        QApplication::clipboard()->setText("not ours");
        QVERIFY(!cut->isEnabled());
        QVERIFY(!paste->isEnabled());
        QVERIFY(!inPlace->isEnabled());
        QVERIFY(save->isEnabled());
        QUndoStack* stack = window->frontPicker()->undoer();
        stack->push(new QUndoCommand("Move Buttons"));
        QCOMPARE(undo->text(), QString("Undo Move Buttons"));
        QVERIFY(undo->isEnabled());
        stack->undo();
        QVERIFY(!undo->isEnabled());
        QCOMPARE(redo->text(), QString("Redo Move Buttons"));
        QVERIFY(redo->isEnabled());

        // The selection is looked at when the menu opens or a key comes.
        window->frontPicker()->push_button(button_at(QPoint(5, 5), {"x"}), -1);
        window->frontPicker()->page()->set_state(0, 1);
        window->updateEditMenu();
        QVERIFY(cut->isEnabled());
        copyButtonsToClipboard(window->frontPicker()->getButtons());
        QVERIFY(paste->isEnabled());
        QVERIFY(inPlace->isEnabled());

        // Another tab has its own history.
        window->new_tab();
        QVERIFY(!redo->isEnabled());
        window->tabs()->setCurrentIndex(0);
        QVERIFY(redo->isEnabled());

        window->clear_tabs();
        QVERIFY(!paste->isEnabled());
        QVERIFY(inPlace->isEnabled()); // kept as it was without a tab
        QVERIFY(!save->isEnabled());
        QCOMPARE(undo->text(), QString("Can't Undo"));
        QVERIFY(!undo->isEnabled());
        QVERIFY(!rename->isEnabled());
        QVERIFY(!addOne->isEnabled());
        QVERIFY(space->isEnabled());
        window->new_tab();
        QVERIFY(addOne->isEnabled());
    }

    void toolbox_shows_the_selection()
    {
        picker_view* view = window->frontPicker();
        for (QString label : {"A", "A", "B"}) {
            view->push_button(button_at(QPoint(5, 5), {"x"}, label), -1);
            view->page()->set_state(view->buttons().size() - 1, 1);
        }
        auto* field = window->findChild<QLineEdit*>();
        window->updateControls();
        QCOMPARE(field->text(), QString());
        view->page()->set_state(2, 0);
        view->page()->set_width(1, 33);
        window->updateControls();
        QCOMPARE(field->text(), QString("A"));
        QCOMPARE(window->currentLabel(), QString("A"));

        // Hidden, the toolbox shows nothing, but new buttons still get the
        // targets' values and not an older selection's.
        window->toggle_toolbox();
        QVERIFY(!window->toolboxShown());
        QVERIFY(!window->findChild<QLineEdit*>());
        view->page()->set_state(2, 1);
        window->updateControls();
        QCOMPARE(window->currentLabel(), QString());
        window->toggle_toolbox();
        QVERIFY(window->toolboxShown());
        QCOMPARE(find_action(window, "Hide Toolbox")->text(), QString("Hide Toolbox"));
        QCOMPARE(window->findChild<QLineEdit*>()->text(), QString());
    }

    void toolbox_follows_the_host_selection()
    {
        // A selection made in the host lights buttons; the toolbox shows the
        // first lit one in list order, whatever the hash order of the values.
        picker_view* view = window->frontPicker();
        const QRgb colours[] = {0x112233, 0x445566, 0x778899};
        for (int i = 0; i < 3; ++i) {
            buttonAttributes a = button_at(QPoint(5 + 20 * i, 5), {QString("n%1").arg(i)});
            a.color = colours[i];
            a.width = a.size = 20 + i;
            view->push_button(a, -1);
        }
        window->setSelection({"n1"});
        QCOMPARE(window->currentColor(), colours[1]);
        QCOMPARE(window->currentWidth(), 21);
        window->setSelection({"n2", "n0", "n1"});
        QCOMPARE(window->currentColor(), colours[0]);
        QCOMPARE(window->currentWidth(), 20);
        // Nothing lit: the toolbox shows the look of new buttons, which a
        // button added now gets, not the values of the last one shown.
        window->setSelection({"elsewhere"});
        QCOMPARE(window->currentColor(), QRgb(0xB22222));
        QCOMPARE(window->currentWidth(), 10);
        window->set_button_color(0xff2e6fd8);
        window->setSelection({"n1"});
        QCOMPARE(window->currentColor(), colours[1]);
        window->setSelection({"new"});
        QCOMPARE(window->currentColor(), QRgb(0x2e6fd8));
        window->add_one_button();
        QCOMPARE(view->buttons().size(), 4);
        QCOMPARE(view->buttons().last().color, 0x2e6fd8u);
        QCOMPARE(view->buttons().last().width, 10);
        QCOMPARE(view->buttons().last().names, QStringList{"new"});
    }

    void colour_menu_stays_on_the_screen_data()
    {
        QTest::addColumn<QPoint>("offset");
        QTest::newRow("middle") << QPoint(0, 0);
        QTest::newRow("top left corner") << QPoint(-10000, -10000);
        QTest::newRow("bottom right corner") << QPoint(10000, 10000);
    }
    void colour_menu_stays_on_the_screen()
    {
        QFETCH(QPoint, offset);
        QScreen* screen = QGuiApplication::primaryScreen();
        const QRect area = screen->availableGeometry();
        QPoint at = area.center() + offset;
        at.setX(qBound(area.left(), at.x(), area.right()));
        at.setY(qBound(area.top(), at.y(), area.bottom()));
        QColor white(Qt::white);
        QPointer<picker_colorMenu> menu = picker_colorMenu::execute_color(nullptr, at, &white);
        QVERIFY(area.contains(menu->frameGeometry()));
        // Where there is room, the current colour's cell is under the pointer.
        const QPoint cell = menu->pos() + menu->indexToPosition(menu->findColorIndex(white));
        if (offset.isNull())
            QVERIFY((cell - at).manhattanLength() <= 4);
        delete menu;
    }

    void toolbox_edits_are_undoable()
    {
        picker_view* view = window->frontPicker();
        view->push_button(button_at(QPoint(5, 5), {"x"}), -1);
        auto* widthButton = window->findChildren<QPushButton*>()[1];
        QMenu* widths = widthButton->menu();
        QVERIFY(widths);
        QCOMPARE(widths->actions().size(), 21);
        QCOMPARE(widthButton->text(), QString("10"));

        // Nothing selected: the toolbox sets the look of new buttons, no step.
        widths->actions()[16]->trigger(); // "30"
        QCOMPARE(window->currentWidth(), 30);
        QCOMPARE(view->undoer()->count(), 0);
        window->set_button_color(0xff00ff00);
        QCOMPARE(view->undoer()->count(), 0);
        QCOMPARE(window->currentColor(), QRgb(0x00ff00));

        view->page()->set_state(0, 1);
        widths->actions()[20]->trigger(); // "100"
        QCOMPARE(view->undoer()->count(), 1);
        QCOMPARE(view->undoer()->undoText(), widthButton->toolTip()); // "Button Width"
        QCOMPARE(view->buttons()[0].width, 100);
        view->undoer()->undo();
        QCOMPARE(view->buttons()[0].width, 20);
        QCOMPARE(widthButton->text(), QString("20"));

        QAction junk("wide", nullptr);
        window->set_button_width(&junk);
        QCOMPARE(view->buttons()[0].width, 10);
        const int entries = view->undoer()->count();
        window->toggle_toolbox();
        window->toggle_toolbox(); // shown again: the selection's sizes, unchanged
        QCOMPARE(view->undoer()->count(), entries);
        QCOMPARE(window->findChildren<QPushButton*>()[1]->text(), QString("10"));
        view->page()->set_state(0, 0);
        window->updateControls();
        QCOMPARE(window->findChildren<QPushButton*>()[1]->text(), QString("30"));
    }

    // The palettes' sizes, where their cells lie (no spacing in x, spacing
    // in y), and which cell a colour finds: the nearest, the earlier on a tie.
    void colour_menu_cells()
    {
        QCOMPARE(picker_colorMenu::color_palette().size(), 72);
        picker_colorMenu menu(picker_colorMenu::color_palette(), 12, 17);
        picker_colorMenu bw({0xFF000000u, 0xFFFFFFFFu}, 1, 17);
        QCOMPARE(menu.size(), QSize(230, 116));
        QCOMPARE(menu.minimumSize(), QSize(230, 116));
        QCOMPARE(bw.size(), QSize(21, 40));
        QCOMPARE(bw.minimumSize(), QSize(21, 40));
        const std::pair<QPoint, int> cells[] = {{{0, 0}, 0}, {{230, 0}, 12}, {{230, 116}, 84}, {{231, 5}, -1},
                                                {{-1, 5}, -1}}; // the right edge runs into the next row
        for (const auto& [point, index] : cells)
            QCOMPARE(menu.positionToIndex(point), index);
        QCOMPARE(menu.indexToPosition(0), QPoint(8, 10));
        QCOMPARE(menu.indexToPosition(13), QPoint(8 + 19, 10 + 19));

        QCOMPARE(distance_fn(QColor(10, 20, 30, 0), QColor(13, 24, 30, 255)), 25u);
        QCOMPARE(bw.findColorIndex(QColor(0x80, 0x80, 0x80)), 1); // white is nearer
        QCOMPARE(bw.findColorIndex(QColor(0x70, 0x70, 0x70)), 0);
        picker_colorMenu tie({0xff000000, 0xff0a0000, 0xff000000}, 3, 17);
        QCOMPARE(tie.findColorIndex(QColor(5, 0, 0)), 0);
        QCOMPARE(menu.findColorIndex(QColor(0xffffff)), 71);
        QCOMPARE(menu.findColorIndex(QColor(0xff0000)), 24);
    }

    void palette_press_arms_and_release_chooses()
    {
        picker_view* view = window->frontPicker();
        view->push_button(button_at(QPoint(5, 5), {"x"}), -1);
        view->page()->set_state(0, 1);
        QColor current(0xff0000);
        picker_colorMenu* menu = picker_colorMenu::execute_color(window, QPoint(300, 300), &current);
        QCOMPARE(menu->tracking(), 24);
        QPointer<picker_colorMenu> alive(menu);
        const QPoint cell = menu->indexToPosition(37);
        QTest::mouseMove(menu, cell);
        QCOMPARE(menu->tracking(), 37);
        QTest::mousePress(menu, Qt::LeftButton, Qt::NoModifier, cell);
        QVERIFY(menu->isArmed());
        QCOMPARE(view->undoer()->count(), 0);
        QTest::mouseRelease(menu, Qt::LeftButton, Qt::NoModifier, cell);
        QCOMPARE(view->undoer()->count(), 1);
        QCOMPARE(view->undoer()->undoText(), QString("Button Color"));
        QCOMPARE(view->buttons()[0].color, picker_colorMenu::color_palette()[37]);
        QTRY_VERIFY(alive.isNull()); // closed and gone
    }

    void command_editor()
    {
        picker_view* view = window->frontPicker();
        buttonAttributes a = button_at(QPoint(0, 0), {"print 1;"}, "one");
        a.kind = 1;
        buttonAttributes empty;
        QVERIFY2(!picker_editCmdDialog::do_dialog(view, &empty), "no names: no dialog");

        // Test runs what the dialog holds; Cancel afterwards keeps it in the attributes.
        QPoint placed;
        modal_helper::with_next([&placed](QWidget* modal) {
            auto* dialog = qobject_cast<picker_editCmdDialog*>(modal);
            QVERIFY(dialog);
            auto* name = dialog->findChild<QLineEdit*>();
            QCOMPARE(name->maxLength(), 128);
            QTest::keyClicks(name, QString(140, 'n'));
            QCOMPARE(name->text().size(), 128);
            dialog->findChild<QTextEdit*>()->setPlainText("print 2;");
            dialog->findChildren<QRadioButton*>()[1]->setChecked(true);
            dialog->move(70, 80);
            dialog->resize(420, 460);
            placed = dialog->pos();
            modal_helper::answer(dialog, "Test");
            modal_helper::answer(dialog, "Cancel");
        });
        QVERIFY(!picker_editCmdDialog::do_dialog(view, &a));
        QCOMPARE(host->python, QStringList{python_in_undo_chunk("print 2;")});
        QCOMPARE(a.names, QStringList{"print 2;"});
        QCOMPARE(a.language, 1);

        // The next run opens where the last one was left, and OK applies.
        modal_helper::with_next([&placed](QWidget* dialog) {
            QCOMPARE(dialog->size(), QSize(420, 460));
            QCOMPARE(dialog->pos(), placed);
            dialog->findChild<QTextEdit*>()->setPlainText("print 3;");
            modal_helper::answer(dialog, "OK");
        });
        QVERIFY(picker_editCmdDialog::do_dialog(view, &a));
        QCOMPARE(a.names, QStringList{"print 3;"});
    }

    void about_box()
    {
        modal_helper::answer_next("OK");
        window->about_dialog();
        QCOMPARE(modal_helper::last_text(), QString("QuillmarshPicker\nVersion 2.0.1 (build 19)"));
    }

    void rename_tab_through_the_dialog()
    {
        modal_helper::with_next([](QWidget* dialog) {
            dialog->findChild<QLineEdit*>()->setText("face");
            modal_helper::answer(dialog, "OK");
        });
        window->rename_tab();
        QCOMPARE(window->tabs()->tabText(0), QString("face*"));
        modal_helper::with_next([](QWidget* dialog) {
            dialog->findChild<QLineEdit*>()->setText(QString());
            modal_helper::answer(dialog, "OK");
        });
        window->rename_tab();
        QCOMPARE(window->tabs()->tabText(0), QString("face*"));
    }
};

QTEST_MAIN(test_menus)
#include "test_menus.moc"
