// Loading is reading: a 10,000-button .pkr opened the way the window opens
// one, and a scene restore of a 10,000-button window, each beside a bare
// QDataStream read of the same records into plain structs (no checks, no
// buttons made). The restore's first step, the scene text back to the
// stream, is set beside Qt's own base64 decode and qUncompress.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_load
#include "bench_data.h"

#include "model/picker_file.h"
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QApplication>
#include <QDataStream>
#include <QFile>
#include <QTabWidget>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr double goal = 1.5;
constexpr int tab_count = 5;
constexpr int per_tab = 2000;

struct plain_record {
    qint32 index = 0;
    QPoint pos;
    qint32 size = 0, width = 0, height = 0, kind = 0, language = 0;
    quint32 color = 0, labelColor = 0;
    QString label;
    QStringList names;
    quint8 shape = 0;
    QVector<QPoint> points;
    QList<QByteArray> fields;
};

// The records of a button list (version 6), read as they lie.
int bare_records(QDataStream& in, QVector<plain_record>& out)
{
    qint32 count = 0;
    in >> count;
    for (qint32 i = 0; i < count; ++i) {
        plain_record r;
        qint32 names = 0;
        in >> r.index >> r.pos >> r.size >> r.width >> r.height >> r.kind >> r.language >> r.color >>
            r.labelColor >> r.label >> names;
        for (qint32 j = 0; j < names; ++j) {
            QString name;
            in >> name;
            r.names << name;
        }
        quint32 fields = 0;
        in >> r.shape;
        if (r.shape == 3) {
            qint32 points = 0;
            in >> points;
            for (qint32 j = 0; j < points; ++j) {
                QPoint p;
                in >> p;
                r.points << p;
            }
        }
        in >> fields;
        // Each field kept as its bytes, as a reader that knows it must.
        for (quint32 f = 0; f < fields; ++f) {
            quint32 tag = 0, bytes = 0;
            in >> tag >> bytes;
            r.fields.append(QByteArray(int(bytes), Qt::Uninitialized));
            in.readRawData(r.fields.last().data(), int(bytes));
        }
        out.append(r);
    }
    return count;
}

int bare_pkr(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_0);
    qint32 version = 0;
    QString name, key;
    QPixmap background;
    in >> version >> name >> key;
    if (!key.isEmpty())
        in >> background;
    QVector<plain_record> records;
    bare_records(in, records);
    return in.status() == QDataStream::Ok ? records.size() : -1;
}

int bare_window(const QByteArray& stream)
{
    QDataStream in(stream);
    qint32 version = 0, tabs = 0, current = 0;
    in >> version >> tabs >> current;
    QVector<plain_record> records;
    for (qint32 t = 0; t < tabs; ++t) {
        qint32 index = 0;
        QString text, key;
        in >> index >> text >> key;
        bare_records(in, records);
    }
    return in.status() == QDataStream::Ok ? records.size() : -1;
}

int window_buttons(const picker_window& window)
{
    int n = 0;
    for (int i = 0; i < window.tabs()->count(); ++i)
        if (auto* view = qobject_cast<picker_view*>(window.tabs()->widget(i)))
            n += view->buttons().size();
    return n;
}

// Times a read into `window` against its bare floor; both must see every button.
void compare(const QString& what, picker_window& window, const std::function<void()>& read,
             const std::function<int()>& floor_read, int expected)
{
    int floor_got = 0;
    const bench::paired times =
        bench::paired_ms(read, [&] { floor_got = floor_read(); }, [&] { window.clear_tabs(); });
    const int got = window_buttons(window);
    bench::report(what, times, goal);
    if (got != expected || floor_got != expected)
        std::printf("%s: read %d buttons, the floor %d, of %d: the figures above do not compare\n",
                    qPrintable(what), got, floor_got, expected);
}

QList<buttonAttributes> picker(int count, int first_namespace, quint64 seed)
{
    bench::picker_shape shape;
    shape.count = count;
    shape.columns = count > per_tab ? 75 : 40;
    shape.first_namespace = first_namespace;
    shape.seed = seed;
    return bench::make_buttons(shape);
}

} // namespace

int main(int argc, char** argv)
{
    auto settings = bench::private_settings();
    QApplication app(argc, argv);
    bench::banner("bench_load");
    bench::keeping_host host;
    picker_host::install(&host);
    QTemporaryDir folder;

    const QImage image = bench::photo_image(2048, 12);
    const QByteArray png = bench::png_of(image);
    bench::describe_picture(image, png);
    const png_picture picture = png_picture::decode(png);

    // ----- .pkr files, opened through the window's open path
    const QList<buttonAttributes> buttons = picker(10000, 0, 21);
    struct file_case {
        QString what;
        bool with_picture;
    } files[] = {{"open .pkr, 10,000 labelled buttons", false},
                 {"open .pkr, 10,000 labelled buttons, 2048x2048 picture", true}};
    picker_window opener(nullptr);
    for (const file_case& f : files) {
        pkr_header header;
        header.name = "crowd";
        if (f.with_picture) {
            header.backgroundKey = QString::number(picture.key());
            header.background = picture;
        }
        const QString path = folder.filePath(f.with_picture ? "crowd_picture.pkr" : "crowd.pkr");
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(write_pkr(header, buttons)) < 0)
            return 1;
        file.close();
        std::printf("%s: file of %.2f MB\n", qPrintable(f.what), QFile(path).size() / 1048576.0);
        compare(f.what, opener, [&] { opener.load_one_picker(path); }, [&] { return bare_pkr(path); },
                buttons.size());
    }

    // ----- Scene restore: the window's stream, and the scene text it came
    // from (pictures are not in them: bench_scene_pictures restores those)
    struct restore_case {
        QString what;
    } restores[] = {{"scene restore, 10,000 buttons in 5 tabs"}};
    for (const restore_case& r : restores) {
        picker_window source(nullptr);
        for (int t = 0; t < tab_count; ++t) {
            if (t > 0)
                source.new_tab();
            picker_view* view = source.frontPicker();
            for (const buttonAttributes& a : picker(per_tab, t, 31 + t))
                view->push_button(a, -1);
        }
        QByteArray stream;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            source.streamTo(out);
        }
        const QByteArray text = source.encodedSceneData();
        std::printf("%s: stream %.2f MB, scene text %.2f MB\n", qPrintable(r.what), stream.size() / 1048576.0,
                    text.size() / 1048576.0);

        picker_window target(nullptr);
        const int expected = tab_count * per_tab;
        compare(r.what + " (streamFrom)", target,
                [&] {
                    QDataStream in(stream);
                    target.streamFrom(in);
                },
                [&] { return bare_window(stream); }, expected);
        // The scene text back to the stream, beside Qt's own decoding of it
        // with nothing checked.
        QByteArray decoded, unpacked;
        bench::report(r.what + " (decode_picker_data)",
                      bench::paired_ms([&] { decoded = decode_picker_data(text); },
                                       [&] { unpacked = qUncompress(QByteArray::fromBase64(text)); }),
                      goal);
        if (decoded != stream || unpacked != stream)
            std::printf("%s: the scene text did not decode to the window's stream: the figures above do not "
                        "compare\n",
                        qPrintable(r.what));
    }
    picker_host::install(nullptr);
    return 0;
}
