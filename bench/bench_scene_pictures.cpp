// A scene of four 4096 x 4096 photo-like pictures, one a tab: what building
// it, writing it into the scene and restoring it cost in time and memory.
// The pictures' entries are written beside making their texts and command
// strings alone; the write after an edit beside the same edit and write of
// the same pickers without pictures; the restore beside decoding the four
// entries' base64 and PNGs alone. The peaks are the
// process's resident memory in each phase, the peak reset between phases;
// the restore runs in a process of its own that starts with the scene's
// texts, as a session that opens the scene does (the host's copy of the
// texts counts).
//   QT_QPA_PLATFORM=offscreen build/bench/bench_scene_pictures
#include "bench_data.h"

#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QApplication>
#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTabWidget>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr int side = 4096;
constexpr int pictures = 4;
constexpr double write_goal = 1.5;
constexpr double restore_goal = 1.5;

// Photo-like pictures, or noise that no PNG compresses.
bool hostile = false;

QString scene_name()
{
    return hostile ? QString("%1 x %2x%2 noise pictures of 61 MB, 50 buttons each").arg(pictures).arg(side)
                   : QString("%1 x %2x%2 photo pictures, 50 buttons each").arg(pictures).arg(side);
}

// Straight-alpha noise in all but the last rows: its PNG is just within
// the bytes one picture may hold.
QImage noise_image(quint64 seed)
{
    bench::random rng(seed);
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    for (int y = 0; y < 3900; ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < side; ++x)
            line[x] = rng.next();
    }
    return image;
}

// A host that keeps the scene's file info as the host application does, in
// a string of its own, so that what the window writes is there for a
// restore to read.
class scene_host : public picker_host {
public:
    void run_mel_on_idle(const QString&) override {}
    void run_python_on_idle(const QString&) override {}
    bool run_mel_now(const QString& text) override
    {
        ++writes;
        const QString remove = "fileInfo -remove \"", set = "fileInfo \"";
        if (text.startsWith(remove)) {
            entries.remove(text.mid(remove.size(), text.indexOf('"', remove.size()) - remove.size()));
            return true;
        }
        const int key_end = text.indexOf('"', set.size());
        const int value_end = text.indexOf('"', key_end + 3);
        entries[text.mid(set.size(), key_end - set.size())] =
            QStringView(text).mid(key_end + 3, value_end - key_end - 3).toLatin1();
        return true;
    }
    QHash<QString, QByteArray> entries;
    int writes = 0;
};

// Lets the next peak be the highest resident size from now on (Linux).
void reset_peak()
{
    QFile refs("/proc/self/clear_refs");
    if (refs.open(QIODevice::WriteOnly))
        refs.write("5");
}

int window_pictures(const picker_window& window)
{
    int n = 0;
    for (int i = 0; i < window.tabs()->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(window.tabs()->widget(i)))
            n += view->background().size() == QSize(side, side);
    return n;
}

// What a scene restore does: the data back to tabs, then each tab's picture
// from its entry.
void restore(picker_window& window, const scene_host& host)
{
    const QByteArray text = host.entries.value(scene_keys::picker_data);
    {
        QDataStream in(decode_picker_data(text));
        window.streamFrom(in);
    }
    window.adoptScene(text);
    window.load_scene_pictures([&host](const QString& entry) { return host.entries.value(entry); });
}

// The reading side, in a fresh process: the scene's texts, then the restore.
int restore_side(const QString& scene_file)
{
    scene_host host;
    picker_host::install(&host);
    {
        QFile file(scene_file);
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        QDataStream in(&file);
        in >> host.entries;
    }
    const QString name = scene_name();
    reset_peak();
    bench::print_memory("reading side, the scene's texts alone");
    picker_window window(nullptr);
    restore(window, host);
    std::printf("%s: restored %d of %d pictures\n", qPrintable(name), window_pictures(window), pictures);
    bench::print_memory(qPrintable("reading side, " + name + " restored"));
    if (hostile)
        return window_pictures(window) == pictures ? 0 : 1;

    // Each entry's base64, then its PNG (after the stream's marker).
    auto decode_alone = [&] {
        for (auto it = host.entries.begin(); it != host.entries.end(); ++it) {
            if (!it.key().startsWith(scene_keys::image_prefix))
                continue;
            const QByteArray bytes = QByteArray::fromBase64(it.value());
            QImage decoded;
            decoded.loadFromData(reinterpret_cast<const uchar*>(bytes.constData()) + 4, bytes.size() - 4, "PNG");
            bench::keep(decoded.width());
        }
    };
    bench::report("scene restore, " + name, bench::paired_ms([&] { restore(window, host); }, decode_alone),
                  restore_goal);
    if (window_pictures(window) != pictures)
        std::printf("%s: the restore did not bring every picture back: the figures above do not compare\n",
                    qPrintable(name));
    picker_host::install(nullptr);
    return 0;
}

// Builds the scene and writes it, with an edit's write timed beside the same
// pickers without pictures; hands the scene's texts to the reading side.
int writing_side(const QString& scene_file)
{
    scene_host host;
    picker_host::install(&host);
    // The pictures as files, as a TD's script sets them.
    QTemporaryDir folder;
    QStringList paths;
    for (int i = 0; i < pictures; ++i) {
        const QImage image = hostile ? noise_image(41 + i) : bench::photo_image(side, 41 + i);
        const QByteArray png = bench::png_of(image);
        bench::describe_picture(image, png);
        paths << folder.filePath(QString("photo%1.png").arg(i));
        QFile file(paths.last());
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size())
            return 1;
    }
    const QString name = scene_name();

    reset_peak();
    picker_window window(nullptr), bare(nullptr);
    for (int i = 0; i < pictures; ++i) {
        if (i > 0) {
            window.new_tab();
            bare.new_tab();
        }
        QString why;
        const png_picture picture = load_image_file(paths[i], &why);
        if (!window.place_background(window.frontPicker(), QString::number(picture.key()), picture)) {
            std::printf("%s: picture %d was refused\n", qPrintable(name), i);
            return 1;
        }
        bench::picker_shape shape;
        shape.columns = 5;
        shape.seed = 51 + i;
        for (const buttonAttributes& a : bench::make_buttons(shape)) {
            window.frontPicker()->push_button(a, -1);
            bare.frontPicker()->push_button(a, -1);
        }
    }
    bench::print_memory(qPrintable("writing side, " + name + " built"));

    reset_peak();
    QElapsedTimer first;
    first.start();
    window.flushSceneData(true);
    const double first_ms = first.nsecsElapsed() / 1e6;
    qint64 scene_chars = 0;
    for (const QByteArray& text : host.entries)
        scene_chars += text.size();
    std::printf("%s: first write %.0f ms, %d texts, %.1f MB in the scene, picker data %d bytes\n",
                qPrintable(name), first_ms, host.writes, scene_chars / 1048576.0,
                int(host.entries.value(scene_keys::picker_data).size()));
    bench::print_memory(qPrintable("writing side, " + name + " written into the scene"));
    if (hostile) {
        QFile file(scene_file);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        QDataStream out(&file);
        out << host.entries;
        picker_host::install(nullptr);
        return 0;
    }
    // The pictures' entries written anew, beside making their texts and
    // the command strings the host takes them in.
    auto encode_alone = [&] {
        for (int i = 0; i < window.tabs()->count(); ++i) {
            const QByteArray text =
                encode_image(qobject_cast<picker_view*>(window.tabs()->widget(i))->background());
            bench::keep(QString::fromLatin1(text).size());
        }
    };
    bench::report("scene write of the pictures' entries, " + name,
                  bench::paired_ms([&] { window.flushSceneData(true); }, encode_alone,
                                   [&] { window.adoptScene(window.encodedSceneData()); }),
                  write_goal);
    {
        QFile file(scene_file);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        QDataStream out(&file);
        out << host.entries;
    }

    // An edit and the write after it, beside the same edit and write of the
    // same pickers without pictures: the pictures cost an edit nothing.
    auto nudge_and_write = [&host](picker_window& w, int& step, int& unwritten) {
        picker_view* view = w.frontPicker();
        if (!view->any_selected())
            view->select_list({1, 11, 21}, true);
        const int before = host.writes;
        view->nudge_buttons(step++ % 2 ? -1 : 1, 0);
        w.flushSceneData(false);
        unwritten += host.writes != before + 1;
    };
    int step = 0, bare_step = 0, unwritten = 0;
    bare.flushSceneData(true);
    bench::report("scene write after a nudge, " + name,
                  bench::paired_ms([&] { nudge_and_write(window, step, unwritten); },
                                   [&] { nudge_and_write(bare, bare_step, unwritten); }),
                  write_goal);
    if (unwritten)
        std::printf("%s: %d timed edits did not write the scene exactly once: the figures above do not compare\n",
                    qPrintable(name), unwritten);
    picker_host::install(nullptr);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    auto settings = bench::private_settings();
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 4 && args[1] == "--restore") {
        hostile = args[3] == "hostile";
        return restore_side(args[2]);
    }
    bench::banner("bench_scene_pictures");
    for (const bool kind : {false, true}) {
        hostile = kind;
        QTemporaryDir folder;
        const QString scene_file = folder.filePath("scene.bin");
        if (const int failed = writing_side(scene_file))
            return failed;
        QProcess reader;
        reader.setProcessChannelMode(QProcess::ForwardedChannels);
        reader.start(app.applicationFilePath(), {"--restore", scene_file, hostile ? "hostile" : "photo"});
        if (!reader.waitForFinished(-1) || reader.exitCode() != 0) {
            std::printf("the reading side failed\n");
            return 1;
        }
    }
    return 0;
}
