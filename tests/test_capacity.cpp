// What a scene may take: every path that adds buttons, names or tabs refuses
// an edit past the limits before changing anything, so that what is written
// always reads back whole.
#include "edit/clipboard.h"
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "recording_host.h"
#include "view/picker_view.h"
#include "window/picker_files.h"
#include "window/picker_window.h"

#include <QBuffer>
#include <QFile>
#include <QDataStream>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTabWidget>
#include <QtTest>

namespace {

QList<buttonAttributes> grid(int count)
{
    QList<buttonAttributes> list;
    for (int i = 0; i < count; ++i) {
        buttonAttributes a;
        a.pos = QPoint(i % 200 * 30, i / 200 * 30);
        a.size = a.width = a.height = 20;
        a.color = 0xff808080;
        a.names = QStringList{QString("ns:ctl_%1").arg(i)};
        list.append(a);
    }
    return list;
}

// What a file of the page holds when read back, and whether it was whole.
QVector<buttonAttributes> read_back(const picker_page* page, bool* whole)
{
    QByteArray bytes = write_pkr(pkr_header(), page->attributes());
    QBuffer file(&bytes);
    file.open(QIODevice::ReadOnly);
    pkr_contents got;
    *whole = read_pkr(file, got, nullptr) && !got.damaged;
    return got.buttons;
}

picker_view* front(picker_window& w)
{
    return qobject_cast<picker_view*>(w.tabs()->currentWidget());
}

picker_view* tab(picker_window& w, int i)
{
    return qobject_cast<picker_view*>(w.tabs()->widget(i));
}

// What a window holds, tab by tab: name and every button's fields.
QStringList snapshot(picker_window& w)
{
    QStringList out;
    for (int i = 0; i < w.tabs()->count(); ++i) {
        out << "tab " + w.tab_name(i);
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        write_button_list(stream, tab(w, i)->page()->attributes());
        out << QString::fromLatin1(bytes.toHex());
    }
    return out;
}

} // namespace

class test_capacity : public QObject {
    Q_OBJECT

    recording_host host;

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        picker_host::install(&host);
    }
    void cleanupTestCase() { picker_host::install(nullptr); }
    void init() { host.clear(); }

    void a_paste_past_a_pickers_limit_leaves_it_whole()
    {
        picker_window w(nullptr);
        picker_view* view = front(w);
        copyButtonsToClipboard(grid(20000));
        handle_paste(view, true);
        QCOMPARE(view->buttons().size(), 20000);
        handle_paste(view, true);
        QCOMPARE(view->buttons().size(), 20000);
        QCOMPARE(view->undoer()->count(), 1);
        QVERIFY2(host.warnings.join('\n').contains("a picker holds at most 32768 buttons; it would hold 40000"),
                 qPrintable(host.warnings.join('\n')));
        bool whole = false;
        QCOMPARE(read_back(view->page(), &whole).size(), 20000);
        QVERIFY(whole);
    }

    // Buttons' pictures fill the scene's pixels as backgrounds do: a paste
    // of a new one past them is refused, one the scene holds already costs
    // nothing and is pasted.
    void pasted_pictures_are_judged_by_the_scene()
    {
        picker_window w(nullptr);
        picker_view* view = front(w);
        const int side = limits::max_button_picture_side;
        const int fit = int(limits::max_total_image_pixels / (qint64(side) * side));
        QList<buttonAttributes> buttons = grid(fit + 1);
        for (int i = 0; i <= fit; ++i) {
            QImage image(side, side, QImage::Format_RGB32);
            image.fill(QColor::fromRgb(i, 255 - i, 7));
            buttons[i].picture = png_picture::from_image(image);
        }
        view->page()->insert_all(buttons.mid(0, fit).toVector());
        copyButtonsToClipboard(buttons.mid(fit));
        handle_paste(view, true);
        QCOMPARE(view->buttons().size(), fit);
        QVERIFY2(host.warnings.join('\n').contains("Paste refused: " + scene_budget_exceeded()),
                 qPrintable(host.warnings.join('\n')));
        copyButtonsToClipboard(buttons.mid(0, 2));
        handle_paste(view, true);
        QCOMPARE(view->buttons().size(), fit + 2);
        QCOMPARE(view->buttons().last().picture, buttons[1].picture);
    }

    // Two large pickers fit one scene together, as they did apart.
    void pickers_opened_together_are_judged_by_the_scene()
    {
        QTemporaryDir dir;
        QStringList paths;
        for (const char* name : {"a.pkr", "b.pkr"}) {
            QFile file(dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(write_pkr(pkr_header(), grid(20000)));
            paths << file.fileName();
        }
        picker_window w(nullptr);
        QString why;
        QList<opened_picker> opened;
        QVERIFY2(open_into_book(*w.book(), paths, &why, &opened), qPrintable(why));
        QCOMPARE(w.tabs()->count(), 3);
        QCOMPARE(qobject_cast<picker_view*>(w.tabs()->widget(2))->buttons().size(), 20000);
    }

    void a_scene_takes_its_tabs_and_buttons_and_no_more()
    {
        picker_window w(nullptr);
        while (w.tabs()->count() < limits::max_tabs)
            QVERIFY(w.new_tab());
        QVERIFY(!w.new_tab());
        QCOMPARE(w.tabs()->count(), int(limits::max_tabs));
        QVERIFY(host.warnings.join('\n').contains("a scene holds at most 256 tabs"));
        // Four full pickers fill the scene: a fifth button on any tab is refused.
        for (int t = 0; t < 4; ++t)
            qobject_cast<picker_view*>(w.tabs()->widget(t))->page()->insert_all(grid(limits::max_buttons).toVector());
        picker_view* fifth = qobject_cast<picker_view*>(w.tabs()->widget(4));
        QVERIFY(fifth->no_room_for(1, 1).contains("a scene holds at most 131072 buttons"));
        copyButtonsToClipboard(grid(1));
        handle_paste(fifth, true);
        QVERIFY(fifth->buttons().isEmpty());

        QByteArray data;
        QDataStream out(&data, QIODevice::WriteOnly);
        w.streamTo(out);
        QDataStream in(data);
        window_contents got;
        QVERIFY(read_window_stream(in, got));
        QVERIFY(!got.damaged);
        QCOMPARE(got.tabs.size(), int(limits::max_tabs));
        QCOMPARE(got.tabs[3].buttons.size(), int(limits::max_buttons));
    }

    // Pickers grown past what a scene is read with leave the scene the
    // pickers it had, and say so.
    void a_scene_keeps_its_pickers_rather_than_take_more_than_it_reads()
    {
        picker_window w(nullptr);
        front(w)->page()->insert_all(grid(3).toVector());
        w.flushSceneData(true);
        const QString stored = host.now.last();
        front(w)->page()->set_label(0, QString(40 << 20, 'x')); // 80 MB in the stream
        QVERIFY(!w.flushSceneData(true));
        QCOMPARE(host.now.last(), stored);
        QVERIFY(host.warnings.join('\n').contains("more than the 64 MB a scene holds"));
    }

    // Random scenes built up to a limit, then saved, reopened, edited past it
    // and saved again: each time the scene gives back what the window held.
    void scenes_near_the_limits_read_back_as_written()
    {
        QRandomGenerator rng(25);
        for (int round = 0; round < 6; ++round) {
            picker_window w(nullptr);
            switch (round % 3) {
            case 0: // tabs
                while (w.tabs()->count() < limits::max_tabs - int(rng.bounded(3)))
                    w.new_tab();
                break;
            case 1: // a picker's buttons
                front(w)->page()->insert_all(grid(limits::max_buttons - int(rng.bounded(3))).toVector());
                break;
            default: { // a button's names, a tab's name, sides and places
                buttonAttributes a = grid(1)[0];
                a.names.clear();
                for (int i = limits::max_names - int(rng.bounded(3)); i > 0; --i)
                    a.names << QString("n%1").arg(i);
                a.pos = QPoint(INT_MAX, -INT_MAX);
                a.width = a.height = INT_MAX;
                front(w)->page()->insert(a);
                w.set_tab_text(0, QString(limits::max_tab_name_chars + int(rng.bounded(3)), 'x'));
                break;
            }
            }
            for (int pass = 0; pass < 3; ++pass) {
                const QByteArray text = w.encodedSceneData();
                picker_window back(nullptr);
                QDataStream in(decode_picker_data(text));
                back.streamFrom(in);
                QVERIFY2(back.lastStreamDamage().isEmpty(), qPrintable(back.lastStreamDamage()));
                QCOMPARE(snapshot(back), snapshot(w));
                // An edit at or past the limit, which the window takes or refuses whole.
                switch (rng.bounded(3)) {
                case 0:
                    copyButtonsToClipboard(grid(1 + int(rng.bounded(5))));
                    handle_paste(front(w), true);
                    break;
                case 1:
                    w.new_tab();
                    break;
                default:
                    if (!front(w)->buttons().isEmpty())
                        front(w)->set_button_size(0, INT_MAX, INT_MAX);
                    break;
                }
            }
        }
    }

    void names_sides_and_tab_names_stay_within_what_reads_back()
    {
        picker_window w(nullptr);
        picker_view* view = front(w);
        // A selection of more names than a button holds makes no button.
        QStringList names;
        for (int i = 0; i <= limits::max_names; ++i)
            names << QString("n%1").arg(i);
        picker_window::set_selection_names(names);
        view->add_one_button();
        QVERIFY(view->buttons().isEmpty());
        QVERIFY(host.warnings.join('\n').contains("a button holds at most 100000 names"));
        picker_window::set_selection_names({});

        // Sides and places past the limits are kept at them, as a reader keeps them.
        view->page()->insert_all(grid(1).toVector());
        view->set_button_size(0, INT_MAX, INT_MAX);
        view->page()->move(0, QPoint(INT_MAX, INT_MIN));
        const buttonRecord& r = view->buttons()[0];
        QCOMPARE(r.width, limits::max_button_side);
        QCOMPARE(r.pos, QPoint(limits::max_coordinate, -limits::max_coordinate));
        bool whole = false;
        const QVector<buttonAttributes> back = read_back(view->page(), &whole);
        QVERIFY(whole);
        QCOMPARE(back[0], static_cast<const buttonAttributes&>(r));

        // A tab name is cut where a label would be, never inside a character.
        w.set_tab_text(0, QString(limits::max_tab_name_chars - 1, 'x') + QString::fromUtf8("\xf0\x9f\x98\x80") + "tail");
        QCOMPARE(w.tab_name(0), QString(limits::max_tab_name_chars - 1, 'x'));
        QCOMPARE(view->page()->name(), w.tab_name(0));
        // A namespace past any real one is not offered for rebinding.
        buttonAttributes odd = grid(1)[0];
        odd.names = QStringList{QString(limits::max_namespace_chars + 1, 'n') + ":ctl", "hero:ctl"};
        view->page()->insert(odd);
        QCOMPARE(view->page()->namespaces(), (QStringList{"hero", "ns"}));
    }
};

QTEST_MAIN(test_capacity)
#include "test_capacity.moc"
