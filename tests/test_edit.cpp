// The undo commands: exact undo and redo, merging, structural edits,
// arranging and the clipboard.
#include "edit/arrange_command.h"
#include "edit/button_commands.h"
#include "edit/clipboard.h"
#include "edit/property_commands.h"
#include "model/picker_stream.h"
#include "model/picker_file.h"
#include "model/scene_data.h"
#include "model/scene_writer.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QClipboard>
#include <QMimeData>
#include <QRandomGenerator>
#include <QtTest>

using points = QVector<QPoint>;
using states = QVector<qint16>;

namespace {

buttonAttributes make_button(QPoint pos, QStringList names = {"a"}, int w = 3, int h = 3)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = w;
    a.height = h;
    a.color = 0xff0000;
    a.names = names;
    return a;
}

void add_buttons(picker_view& view, const points& at)
{
    for (int i = 0; i < at.size(); ++i)
        view.push_button(make_button(at[i], {QString::number(i)}), -1);
}

void set_selection(picker_view& view, const states& s)
{
    for (int i = 0; i < view.buttons().size(); ++i) {
        if (s.value(i) == 1)
            view.page()->select(i, true);
        else
            view.page()->unselect(i, true);
        view.page()->set_state(i, s.value(i));
    }
}

struct view_state {
    QVector<buttonAttributes> attributes;
    QVector<QSize> sizes;
    states selection;
};

view_state take(const picker_view& view)
{
    view_state s;
    for (const buttonRecord& r : view.buttons()) {
        s.attributes << r;
        s.sizes << r.bounds.size();
        s.selection << r.selected;
    }
    return s;
}

bool same(const view_state& a, const view_state& b, bool withSelection = true)
{
    return a.attributes == b.attributes && a.sizes == b.sizes && (!withSelection || a.selection == b.selection);
}

bool invariants_hold(const picker_view& view, bool centred)
{
    for (const buttonRecord& r : view.buttons()) {
        QRect placed = r.bounds;
        placed.moveCenter(r.pos);
        if (r.size != r.width || r.nameFlags.size() != r.names.size() || (centred && placed != r.bounds))
            return false;
    }
    return true;
}

struct randomizer : QRandomGenerator {
    using QRandomGenerator::QRandomGenerator;
    int below(int n) { return int(bounded(quint32(n))); }
    QPoint point() { return QPoint(below(400) - 100, below(400) - 100); }
    QStringList names()
    {
        const QStringList two{"n" + QString::number(below(6)), "m" + QString::number(below(20))};
        return two.mid(below(2));
    }
    QString label() { return QStringList{"", "", "A", "Hip"}[below(4)]; }
};

QUndoCommand* random_command(picker_view& view, randomizer& rnd)
{
    const QPoint at = rnd.point();
    QList<buttonAttributes> list;
    QVector<int> indices;
    points old;
    switch (rnd.below(19)) {
    case 0: return new change_color_cmd(view.page(), quint32(rnd.below(8)));
    case 1: return new change_labelc_cmd(view.page(), quint32(rnd.below(8)));
    case 2: return new change_width_cmd(view.page(), 1 + rnd.below(40)); // 0 would be clamped by a restore
    case 3: return new change_height_cmd(view.page(), 1 + rnd.below(40));
    case 4: return new adjust_width_cmd(view.page(), rnd.below(13) - 6);
    case 5: return new adjust_height_cmd(view.page(), rnd.below(13) - 6);
    case 6: return new change_label_cmd(view.page(), rnd.label());
    case 7: return new nudge_buttons_cmd(view.page(), at / 100);
    case 8: return new add_button_cmd(view.page(), view.new_button_at(at), "Add Button");
    case 9: {
        buttonAttributes a = view.new_button_at(at);
        a.label = rnd.label();
        return new add_button_cmd(view.page(), a, "Add Button");
    }
    case 10: {
        button_look look;
        look.label = rnd.label();
        return new add_button_cmd(view.page(), new_button(view.mapToPicker(at), look, 1, rnd.below(2), {"print 1"}),
                                  "Add Command");
    }
    case 11:
        for (int i = 0; i < view.buttons().size(); ++i)
            if (view.buttons()[i].selected & 1) {
                indices << i;
                old << view.buttons()[i].pos;
            }
        return new move_buttons_cmd(view.page(), old, view.page()->ids_of(indices), at / 10);
    case 12: return new delete_buttons_cmd(view.page());
    case 13: return new cut_buttons_cmd(view.page());
    case 14:
        if (view.buttons().isEmpty())
            return new cut_buttons_cmd(view.page());
        return new update_buttons_cmd(view.page(), view.buttons()[rnd.below(view.buttons().size())].id,
                                      rnd.names() << "u");
    case 15:
        for (int n = rnd.below(6); n > 0; --n)
            list << make_button(rnd.point(), rnd.names(), 1 + rnd.below(30), 1 + rnd.below(30));
        return new paste_buttons_cmd(view.page(), list, rnd.below(2));
    default:
        return new arrange_buttons_cmd(view.page(), rnd.below(4));
    }
}

QUndoCommand* make_edit(picker_view* view, const QString& kind, int value)
{
    if (kind == "color")
        return new change_color_cmd(view->page(), quint32(value));
    if (kind == "width")
        return new change_width_cmd(view->page(), value);
    if (kind == "adjust w")
        return new adjust_width_cmd(view->page(), value);
    if (kind == "adjust h")
        return new adjust_height_cmd(view->page(), value);
    return new nudge_buttons_cmd(view->page(), kind == "nudge x" ? QPoint(value, 0) : QPoint(0, value));
}

} // namespace

class test_edit : public QObject {
    Q_OBJECT

private slots:
    // A page is edited, undone and redone, and written as scene text, with
    // no widget anywhere: what batch mode and scripts without a window need.
    // A button a script takes away behind the history is skipped, and the
    // others keep their own values.
    void a_page_edits_and_undoes_without_widgets()
    {
        picker_page page;
        page.set_name("body");
        QUndoStack stack;
        for (int i = 0; i < 3; ++i)
            page.insert(make_button(QPoint(10 * i, 0), {QString("n%1").arg(i)}));
        for (int k : {0, 2})
            page.select(k, true);
        const button_id last = page.at(2).id;
        stack.push(new change_color_cmd(&page, 0x00ff00));
        stack.push(new nudge_buttons_cmd(&page, QPoint(0, 5)));
        page.remove(0); // a script, behind the history
        page.insert(make_button(QPoint(99, 99), {"front"}), 0);
        stack.undo();
        stack.undo();
        QCOMPARE(page.count(), 3);
        QCOMPARE(page.at(page.row_of(last)).pos, QPoint(20, 0));
        QCOMPARE(page.at(page.row_of(last)).color, make_button(QPoint(), {}).color);
        QCOMPARE(page.at(0).pos, QPoint(99, 99));
        stack.redo();
        stack.redo();
        QCOMPARE(page.at(page.row_of(last)).pos, QPoint(20, 5));
        QCOMPARE(page.at(page.row_of(last)).color, 0x00ff00u);
        QCOMPARE(page.at(1).color, make_button(QPoint(), {}).color); // n1 was never selected

        scene_writer writer;
        QDataStream in(decode_picker_data(writer.encode({&page}, 0)));
        window_contents back;
        QVERIFY(read_window_stream(in, back));
        QCOMPARE(back.tabs.size(), 1);
        QCOMPARE(back.tabs[0].text, QString("body"));
        QCOMPARE(back.tabs[0].buttons.toList(), page.attributes());
        QVERIFY(QApplication::allWidgets().isEmpty());
    }
    void random_edits_undo_and_redo_exactly()
    {
        buttonRecord::set_selection_list(nullptr);
        picker_window::set_selection_names({});
        const quint32 seed = 4711;
        qInfo("seed %u", seed);
        randomizer rnd(seed);
        picker_view view(nullptr);
        view.resize(320, 240);
        for (int i = 0; i < 12; ++i)
            view.push_button(make_button(rnd.point(), rnd.names(), 1 + rnd.below(30), 1 + rnd.below(30)), -1);
        const view_state start = take(view);

        // One per undo entry; a push that merges extends the last one.
        struct entry {
            states selectionBefore;
            view_state pre, post;
        };
        QVector<entry> entries;
        QUndoStack* stack = view.undoer();
        for (int step = 0; step < 3000; ++step) {
            const states before = take(view).selection;
            states s;
            for (int i = 0; i < view.buttons().size(); ++i)
                s << states{0, 0, 0, 0, 0, 1, 1, 2}[rnd.below(8)];
            set_selection(view, s);
            QUndoCommand* command = random_command(view, rnd);
            const view_state pre = take(view);
            const int count = stack->count();
            stack->push(command);
            QVERIFY2(invariants_hold(view, true), qPrintable(QString::number(step)));
            if (stack->count() > count)
                entries.append({before, pre, {}});
            entries.last().pre.selection = pre.selection; // what the redo will start from
            entries.last().post = take(view);
        }

        for (int e = entries.size() - 1; e >= 0; --e) {
            stack->undo();
            QVERIFY2(same(entries[e].pre, take(view), false),
                     qPrintable(QString("undo %1: %2").arg(e).arg(stack->text(e))));
            QVERIFY(invariants_hold(view, true));
            set_selection(view, entries[e].selectionBefore); // the test's own selecting, undone
        }
        QVERIFY(same(start, take(view)));

        for (int e = 0; e < entries.size(); ++e) {
            set_selection(view, entries[e].pre.selection);
            stack->redo();
            QVERIFY2(same(entries[e].post, take(view)),
                     qPrintable(QString("redo %1: %2").arg(e).arg(stack->text(e))));
        }
    }

    void runs_of_edits_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<int>("a");
        QTest::addColumn<QString>("second"); // empty: none
        QTest::addColumn<int>("b");
        QTest::addColumn<bool>("reselect");
        QTest::addColumn<int>("entries");
        QTest::addColumn<int>("width"); // of button 0 after the pushes
        QTest::newRow("colour run") << "color" << 0x00ff00 << "color" << 0xff << false << 1 << 3;
        QTest::newRow("colours, other buttons") << "color" << 0x00ff00 << "color" << 0xff << true << 2 << 3;
        QTest::newRow("grow then shrink") << "adjust w" << 1 << "adjust w" << -1 << false << 2 << 3;
        QTest::newRow("width then height") << "adjust w" << 1 << "adjust h" << 1 << false << 2 << 4;
        QTest::newRow("nudges") << "nudge x" << 1 << "nudge y" << 1 << false << 1 << 3;
        QTest::newRow("shrink stops at 1") << "adjust w" << -5 << "" << 0 << false << 1 << 1;
        QTest::newRow("width 0 is kept") << "width" << 0 << "" << 0 << false << 1 << 0;
    }

    // Which edits merge into one entry, and what the widths come to.
    void runs_of_edits()
    {
        QFETCH(QString, first);
        QFETCH(int, a);
        QFETCH(QString, second);
        QFETCH(int, b);
        QFETCH(bool, reselect);
        QFETCH(int, entries);
        QFETCH(int, width);
        picker_view view(nullptr);
        add_buttons(view, {{5, 5}, {20, 5}, {40, 5}});
        set_selection(view, {1, 1, 0});
        QUndoStack* stack = view.undoer();
        stack->push(make_edit(&view, first, a));
        if (reselect)
            set_selection(view, {1, 0, 0});
        if (!second.isEmpty())
            stack->push(make_edit(&view, second, b));
        QCOMPARE(stack->count(), entries);
        QCOMPARE(view.buttons()[0].width, width);
    }

    void delete_and_cut_restore_the_list_data()
    {
        QTest::addColumn<bool>("cut");
        QTest::addColumn<states>("selection");
        QTest::addColumn<QString>("text");
        QTest::newRow("delete three") << false << states{1, 0, 1, 0, 1} << "Delete Buttons";
        QTest::newRow("cut one, one partly") << true << states{1, 0, 2, 0, 0} << "Cut Button";
    }

    void delete_and_cut_restore_the_list()
    {
        QFETCH(bool, cut);
        QFETCH(states, selection);
        QFETCH(QString, text);
        picker_view view(nullptr);
        add_buttons(view, {{0, 0}, {20, 0}, {40, 0}, {60, 0}, {80, 0}});
        set_selection(view, selection);
        const view_state before = take(view);
        view.undoer()->push(cut ? static_cast<QUndoCommand*>(new cut_buttons_cmd(view.page()))
                                   : new delete_buttons_cmd(view.page()));
        QCOMPARE(view.undoer()->text(0), text);
        QCOMPARE(view.buttons().size(), 5 - selection.count(1));
        view.undoer()->undo();
        QVERIFY(same(before, take(view), false));
        for (int i = 0; i < 5; ++i) // only an undone cut selects again
            QCOMPARE(view.buttons()[i].selected, qint16(cut && selection[i] == 1));
    }

    void paste_places_the_group_data()
    {
        QTest::addColumn<points>("at");
        QTest::addColumn<bool>("inPlace");
        QTest::addColumn<QPoint>("offset");
        QTest::newRow("centred") << points{{10, 10}, {30, 50}, {25, 20}} << false << QPoint(80, 70);
        QTest::newRow("in place") << points{{10, 10}, {30, 50}, {25, 20}} << true << QPoint(0, 0);
        QTest::newRow("nothing") << points{} << false << QPoint(0, 0);
    }

    void paste_places_the_group()
    {
        QFETCH(points, at);
        QFETCH(bool, inPlace);
        QFETCH(QPoint, offset);
        picker_view view(nullptr);
        view.resize(201, 201); // the centre, (100, 100), maps to itself
        add_buttons(view, {{0, 0}});
        set_selection(view, {1});
        QList<buttonAttributes> list;
        for (const QPoint& p : at)
            list << make_button(p);
        view.undoer()->push(new paste_buttons_cmd(view.page(), list, inPlace, view.mapToPicker(view.rect().center())));
        QCOMPARE(view.undoer()->text(0), QString("Paste Buttons"));
        QCOMPARE(view.buttons().size(), 1 + at.size());
        QCOMPARE(view.buttons()[0].selected, qint16(0));
        for (int i = 0; i < at.size(); ++i) {
            QCOMPARE(view.buttons()[i + 1].pos, at[i] + offset);
            QCOMPARE(view.buttons()[i + 1].selected, qint16(1));
        }
    }

    void arrange_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<points>("at");
        QTest::addColumn<states>("selection");
        QTest::addColumn<points>("expected");
        using P = points;
        using S = states;
        QTest::newRow("distribute 3") << 2 << P{{0, 3}, {10, 4}, {20, 5}} << S{1, 1, 1} << P{{0, 3}, {12, 4}, {24, 5}};
        QTest::newRow("distribute down") << 3 << P{{1, 20}, {2, 0}} << S{1, 1} << P{{1, 22}, {2, 0}};
        QTest::newRow("align row") << 0 << P{{5, 1}, {9, 2}} << S{1, 1} << P{{5, 1}, {9, 1}};
        QTest::newRow("align column") << 1 << P{{-3, 0}, {0, 7}} << S{1, 1} << P{{-1, 0}, {-1, 7}};
        QTest::newRow("partly selected") << 0 << P{{0, 0}, {0, 50}, {0, 10}} << S{1, 2, 1} << P{{0, 5}, {0, 50}, {0, 5}};
        QTest::newRow("equal x in list order") << 2 << P{{5, 0}, {5, 1}, {0, 2}} << S{1, 1, 1} << P{{4, 0}, {8, 1}, {0, 2}};
        QTest::newRow("single never moves") << 2 << P{{7, 7}, {50, 0}} << S{1, 0} << P{{7, 7}, {50, 0}};
        QTest::newRow("listed right to left") << 2 << P{{30, 0}, {20, 5}, {0, 9}} << S{1, 1, 1}
                                              << P{{32, 0}, {16, 5}, {0, 9}};
    }

    void arrange()
    {
        QFETCH(int, mode);
        QFETCH(points, at);
        QFETCH(states, selection);
        QFETCH(points, expected);
        picker_view view(nullptr);
        add_buttons(view, at);
        set_selection(view, selection);
        view.undoer()->push(new arrange_buttons_cmd(view.page(), mode));
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(view.buttons()[i].pos, expected[i]);
    }

    void paste_from_clipboard_data()
    {
        QTest::addColumn<QByteArray>("payload"); // empty: our own copy; "text": another program's
        QTest::addColumn<int>("buttons");
        QTest::addColumn<int>("entries");
        QTest::newRow("copied buttons") << QByteArray() << 6 << 2;
        QByteArray old; // a payload version this program does not write
        QDataStream(&old, QIODevice::WriteOnly) << qint32(2) << qint32(1);
        QTest::newRow("other payload version") << old << 0 << 2;
        QTest::newRow("plain text") << QByteArray("text") << 0 << 0;
    }

    void paste_from_clipboard()
    {
        QFETCH(QByteArray, payload);
        QFETCH(int, buttons);
        QFETCH(int, entries);
        picker_view source(nullptr);
        add_buttons(source, {{0, 0}, {20, 0}, {40, 0}, {60, 0}});
        set_selection(source, {1, 0, 1, 1});
        if (payload.isEmpty()) {
            copyButtonsToClipboard(source.getButtons());
        } else {
            auto* data = new QMimeData;
            if (payload == "text")
                data->setText("from another program");
            else
                data->setData(picker_format::clipboard_mime, payload);
            QGuiApplication::clipboard()->setMimeData(data);
        }
        picker_view view(nullptr);
        handle_paste(&view, false);
        handle_paste(&view, true);
        QCOMPARE(view.buttons().size(), buttons);
        QCOMPARE(view.undoer()->count(), entries);
        if (buttons)
            QCOMPARE(view.buttons()[5].names, QStringList{"3"});
    }
};

QTEST_MAIN(test_edit)
#include "test_edit.moc"
