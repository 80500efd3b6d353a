// The scene write that follows every edit: one edit through the view's undo
// stack (a nudge, a colour, an undo), then the write the window does when the
// host is next idle. Its floor, measured beside it, is the plain way to make
// that text: base64 of as many bytes as it holds, and the view's button stream
// compressed as the stored format requires. The writer keeps compressed
// pieces and redoes only those an edit changed, so on large pickers it beats
// the floor. Then a new background from a PNG file, read,
// placed and written to the scene, beside decoding that PNG alone.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_scene_write
#include "bench_data.h"

#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QApplication>
#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QUndoStack>

#include <cstdio>

namespace {

constexpr double goal = 2;

struct write_case {
    int side;    // of the background picture
    int buttons;
};

// The data text inside a "fileInfo <key> <text>; ..." command; empty for
// any other command.
QByteArray data_text(const QString& command)
{
    const QString head = QString("fileInfo \"%1\" \"").arg(scene_keys::picker_data);
    if (!command.startsWith(head))
        return QByteArray();
    const int end = command.indexOf('"', head.size());
    return command.mid(head.size(), end - head.size()).toLatin1();
}

void run_case(const write_case& c, const png_picture& picture, bench::keeping_host& host)
{
    const QString name = QString("scene write, %1x%1, %2 buttons")
                             .arg(c.side)
                             .arg(c.buttons == 10000 ? QString("10,000") : QString::number(c.buttons));
    picker_window window(nullptr);
    picker_view* view = window.frontPicker();
    window.place_background(view, QString::number(picture.key()), picture);

    bench::picker_shape shape;
    shape.count = c.buttons;
    if (c.buttons <= 50) {
        // Spread over the picture like a body's controls.
        shape.columns = 5;
        shape.origin = QPoint(c.side / 6, c.side / 14);
        shape.pitch_x = c.side / 6;
        shape.pitch_y = c.side / 11;
    } else {
        shape.columns = 75;
    }
    for (const buttonAttributes& a : bench::make_buttons(shape))
        view->push_button(a, -1);
    view->signal_changed();

    // The first write puts the picture in the scene; edits never write it again.
    host.clear();
    QElapsedTimer first;
    first.start();
    window.flushSceneData(false);
    std::printf("%s: first write %.0f ms, %d texts, %.2f MB\n", qPrintable(name), first.nsecsElapsed() / 1e6,
                host.writes, host.written / 1048576.0);

    // An animator's handful of controls.
    QVector<int> picked;
    for (int i = 0; i < 5; ++i)
        picked << 1 + i * c.buttons / 5;
    view->select_list(picked, true);

    int step = 0;
    auto flush = [&] { window.flushSceneData(false); };
    auto nudge = [&] { view->nudge_buttons(step++ % 2 ? -1 : 1, 0); };
    auto colour = [&] { window.set_button_color(step++ % 2 ? 0x2040c0 : 0xc04020); };
    auto undo = [&] { view->undoer()->undo(); };

    // The floor: as many bytes as an edit's text encodes, and the view's records.
    host.clear();
    nudge();
    flush();
    const qint64 chars = host.last.size();
    QByteArray raw(int(chars * 3 / 4), Qt::Uninitialized);
    bench::random rng(7);
    for (char& ch : raw)
        ch = char(rng.next());
    auto floor = [&] {
        const QByteArray text = raw.toBase64();
        QByteArray records;
        {
            QDataStream out(&records, QIODevice::WriteOnly);
            write_button_list(out, view->page()->attributes());
        }
        bench::keep(text.size() + qCompress(records, 6).size());
    };

    // Every timed edit must write the scene once, or its time means nothing.
    int unwritten = 0;
    auto write_after = [&](const std::function<void()>& edit) {
        return [&, edit] {
            const int before = host.writes;
            edit();
            flush();
            unwritten += host.writes != before + 1;
        };
    };
    bench::report(name + ", nudge", bench::paired_ms(write_after(nudge), floor), goal);
    bench::report(name + ", colour", bench::paired_ms(write_after(colour), floor), goal);
    bench::report(name + ", undo", bench::paired_ms(write_after(undo), floor, [&] { nudge(); flush(); }), goal);
    if (unwritten)
        std::printf("%s: %d timed edits did not write the scene exactly once: the figures above do not compare\n",
                    qPrintable(name), unwritten);

    // What was written must be the window, or the times above mean nothing.
    QByteArray stream;
    {
        QDataStream out(&stream, QIODevice::WriteOnly);
        window.streamTo(out);
    }
    const QByteArray written = data_text(host.last);
    const bool same = !written.isEmpty() && decode_picker_data(written) == stream;
    std::printf("%s: the last text written decodes to the window's stream: %s\n", qPrintable(name),
                same ? "yes" : "NO");

    // Edits between two idle moments: one write, with the last state.
    host.clear();
    for (int i = 0; i < 10; ++i)
        if (i % 3 == 0)
            nudge();
        else if (i % 3 == 1)
            colour();
        else
            undo();
    window.flushSceneData(false);
    const int writes = host.writes;
    const int queued = host.flush_requests;
    window.flushSceneData(false);
    std::printf("%s: 10 edits, then a flush: %d write%s (%d flush queued); "
                "a flush with nothing pending: %d writes\n",
                qPrintable(name), writes, writes == 1 ? "" : "s", queued, host.writes - writes);
    bench::print_memory(qPrintable(name + ", window still open"));
}

// What the set_background directive does with a picture file: read and
// check it, put it on the tab, and write the scene when the host is idle.
void run_set_background(int side, bench::keeping_host& host)
{
    const QString name = QString("set_background, %1x%1 photo PNG, 50 buttons").arg(side);
    const QImage image = bench::photo_image(side, 13);
    const QByteArray png = bench::png_of(image);
    bench::describe_picture(image, png);
    QTemporaryDir folder;
    const QString path = folder.filePath("photo.png");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size())
        return;
    file.close();

    picker_window window(nullptr);
    picker_view* view = window.frontPicker();
    bench::picker_shape shape;
    shape.columns = 5;
    for (const buttonAttributes& a : bench::make_buttons(shape))
        view->push_button(a, -1);
    view->signal_changed();
    window.flushSceneData(false);

    int failed = 0;
    auto set_background = [&] {
        QString why;
        const png_picture picture = load_image_file(path, &why);
        failed += picture.isNull();
        window.place_background(view, QString::number(picture.key()), picture);
        view->signal_changed();
        window.flushSceneData(false);
    };
    // Each run starts from a tab without a background, written so.
    auto clear = [&] {
        view->setBackground(QString(), png_picture());
        view->signal_changed();
        window.flushSceneData(false);
    };
    auto decode_alone = [&] {
        QImage decoded;
        decoded.loadFromData(png, "PNG");
        bench::keep(decoded.width());
    };
    bench::report(name, bench::paired_ms(set_background, decode_alone, clear), goal);

    QByteArray stream;
    {
        QDataStream out(&stream, QIODevice::WriteOnly);
        window.streamTo(out);
    }
    const QByteArray written = data_text(host.last);
    const bool same = !failed && view->background().png() == png && !written.isEmpty()
                      && decode_picker_data(written) == stream;
    std::printf("%s: the file's own bytes are the picture, and the scene holds them: %s\n", qPrintable(name),
                same ? "yes" : "NO");
}

} // namespace

int main(int argc, char** argv)
{
    auto settings = bench::private_settings();
    QApplication app(argc, argv);
    bench::banner("bench_scene_write");
    bench::keeping_host host;
    picker_host::install(&host);

    const write_case cases[] = {{1024, 50}, {2048, 50}, {2048, 10000}};
    png_picture pictures[2];
    for (int i = 0; i < 2; ++i) {
        const QImage image = bench::photo_image(1024 << i, 11 + i);
        const QByteArray png = bench::png_of(image);
        bench::describe_picture(image, png);
        pictures[i] = png_picture::decode(png);
    }
    for (const write_case& c : cases)
        run_case(c, pictures[c.side == 2048], host);
    run_set_background(2048, host);
    picker_host::install(nullptr);
    return 0;
}
