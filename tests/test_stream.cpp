// The stored bytes: files, old versions and clipboard payloads compared with
// bytes assembled by hand, and readers fed damaged, cut and lying streams.
#include "button_values.h"
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <cstring>

Q_DECLARE_METATYPE(buttonAttributes)

namespace {

// Big-endian bytes, assembled without QDataStream.
struct bytes {
    QByteArray data;

    bytes& u32(quint32 v)
    {
        for (int shift = 24; shift >= 0; shift -= 8)
            data.append(char((v >> shift) & 0xff));
        return *this;
    }
    bytes& i32(qint32 v) { return u32(quint32(v)); }
    bytes& point(const QPoint& p) { return i32(p.x()).i32(p.y()); }
    bytes& str(const QString& s)
    {
        if (s.isNull())
            return u32(0xffffffff);
        u32(quint32(s.size() * 2));
        for (QChar c : s)
            data.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
        return *this;
    }
    bytes& raw(const QByteArray& b)
    {
        data.append(b);
        return *this;
    }
    bytes& u8(quint8 v)
    {
        data.append(char(v));
        return *this;
    }
    bytes& f64(double v)
    {
        quint64 bits;
        std::memcpy(&bits, &v, sizeof bits);
        return u32(quint32(bits >> 32)).u32(quint32(bits));
    }
    // One record of version 5: what every later version starts with.
    bytes& record5(qint32 index, const buttonAttributes& a)
    {
        i32(index).point(a.pos).i32(a.size).i32(a.width).i32(a.height);
        i32(a.kind).i32(a.language).u32(a.color).u32(a.labelColor).str(a.label);
        i32(a.names.size());
        for (const QString& n : a.names)
            str(n);
        return *this;
    }
    // One record with every field of the current version: the shape, a
    // polygon's points, and the picture's field (tag 2) when it has one.
    bytes& record(qint32 index, const buttonAttributes& a)
    {
        record5(index, a).u8(quint8(a.shape));
        if (a.shape == qint32(button_shape::polygon)) {
            i32(a.points.size());
            for (const QPoint& p : a.points)
                point(p);
        }
        if (a.picture.isNull())
            return u32(0);
        return u32(1).picture_field(a.picture.png());
    }
    bytes& picture_field(const QByteArray& png) { return u32(2).u32(quint32(png.size())).raw(png); }
};

QList<buttonAttributes> picker_buttons()
{
    return {
        button({120, -35}, 40, 24, 0, 0, 0xffcc3300, 0x00102030, "L Arm",
               {"ns:arm_ctrl", "ns:elbow", QString::fromUtf8("ns:h\xc3\xa4nd")}),
        button({5, 7}, 60, 18, 1, 1, 0xff00ff00, 0xffffff, "Reset",
               {"import maya.cmds as mc\nmc.select(clear=True)"}),
        button({-300, 2}, 9, 9, 0, 0, 0xff808080, 0xffffff, QString(), {"hips"}),
    };
}

QList<buttonAttributes> read_list(const QByteArray& data, int version, bool* at_end = nullptr)
{
    QDataStream in(data);
    QList<buttonAttributes> got;
    const int n = read_button_list(in, version, [&got](const buttonAttributes& a) { got << a; });
    if (n != got.size())
        qWarning("read_button_list reported %d, handed over %d", n, int(got.size()));
    if (at_end)
        *at_end = in.atEnd();
    return got;
}

QByteArray pixmap_bytes(const QPixmap& p)
{
    QByteArray b;
    QDataStream out(&b, QIODevice::WriteOnly);
    out.setVersion(picker_format::pkr_stream_version);
    out << p;
    return b;
}

QImage test_image()
{
    QImage image(7, 5, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba(x * 30, y * 50, 200, 255));
    return image;
}


quint32 crc32_of(const QByteArray& data)
{
    quint32 crc = 0xffffffffu;
    for (char c : data) {
        crc ^= uchar(c);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray png_chunk(const char* type, const QByteArray& data)
{
    const QByteArray body = QByteArray(type) + data;
    return bytes().u32(quint32(data.size())).raw(body).u32(crc32_of(body)).data;
}

// A zlib stream of `count` zero bytes.
QByteArray zeros_zlib(qint64 count)
{
    return qCompress(QByteArray(int(count), 0), 1).mid(4);
}

// A PNG whose header claims the given size; the pixel data is a few zeros
// unless `real` (then it is a whole, valid image of transparent pixels).
QByteArray claimed_png(quint32 w, quint32 h, bool real = false)
{
    QByteArray ihdr = bytes().u32(w).u32(h).data;
    ihdr.append("\x08\x06\x00\x00\x00", 5); // 8 bits RGBA
    const QByteArray pixels = real ? zeros_zlib(qint64(h) * (1 + 4 * qint64(w))) : zeros_zlib(64);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + png_chunk("IHDR", ihdr) + png_chunk("IDAT", pixels)
           + png_chunk("IEND", QByteArray());
}

// The image in a file format, as a file of it holds it.
QByteArray encoded(const QImage& image, const char* format, int quality = -1)
{
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, quality);
    return out;
}

QByteArray real_png()
{
    return encoded(test_image(), "PNG");
}

// `png` with a text chunk after its header, which Qt's writer never adds.
QByteArray with_text_chunk(const QByteArray& png)
{
    const int after_ihdr = 8 + 8 + 13 + 4;
    return png.left(after_ihdr) + png_chunk("tEXt", QByteArray("Comment\0drawn by hand", 21)) + png.mid(after_ihdr);
}

// A .pkr holding the three picker buttons behind the given pixmap bytes.
QByteArray pkr_with_pixmap(const QByteArray& pixmap, int version = 5)
{
    bytes b;
    b.i32(version).str("Hero").str("bg").raw(pixmap).i32(3);
    for (int j = 0; j < 3; ++j)
        version < 6 ? b.record5(j, picker_buttons()[j]) : b.record(j, picker_buttons()[j]);
    return b.data;
}

// Window stream tabs of `count` one-name buttons each.
QByteArray window_stream(const QVector<int>& counts)
{
    bytes b;
    b.i32(5).i32(counts.size()).i32(0);
    for (int t = 0; t < counts.size(); ++t) {
        b.i32(t).str(QString("tab %1").arg(t)).str(QString()).i32(counts[t]);
        for (int j = 0; j < counts[t]; ++j)
            b.record5(j, button({j, t}, 10, 10, 0, 0, 0, 0xffffff, QString(), {"n"}));
    }
    return b.data;
}

} // namespace

class test_stream : public QObject {
    Q_OBJECT

private slots:
    void pkr_bytes_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("pixmap"); // the picture as Qt's own pixmap stream operator writes it
        QTest::addColumn<bool>("pictured"); // two buttons carry one picture
        QTest::newRow("no background") << QString() << QByteArray() << false;
        QTest::newRow("background") << "bg_face" << pixmap_bytes(QPixmap::fromImage(test_image())) << false;
        QTest::newRow("button pictures") << QString() << QByteArray() << true;
    }
    void pkr_bytes()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, pixmap);
        QFETCH(bool, pictured);
        QList<buttonAttributes> buttons = picker_buttons();
        if (pictured) {
            // Chunks Qt's writer never makes: the bytes go out as they came.
            buttons[0].picture = buttons[2].picture = png_picture::decode(with_text_chunk(real_png()));
            buttons[0].shape = qint32(button_shape::ellipse);
        }
        pkr_header header;
        header.name = QStringLiteral("Face");
        if (!key.isEmpty()) {
            header.backgroundKey = key;
            header.background = png_picture::decode(pixmap.mid(4));
        }
        const QByteArray file = write_pkr(header, buttons);
        bytes expected;
        expected.i32(6).str("Face");
        if (key.isEmpty())
            expected.u32(0xffffffff); // a tab that never had a background keeps a null key
        else
            expected.str(key).raw(pixmap);
        expected.i32(3);
        for (int j = 0; j < 3; ++j)
            expected.record(j, buttons[j]);
        QCOMPARE(file.toHex(), expected.data.toHex());

        QDataStream in(file);
        in.setVersion(picker_format::pkr_stream_version);
        pkr_header back;
        back.backgroundKey = "stale";
        QVERIFY(read_pkr_header(in, back));
        QCOMPARE(back.version, 6);
        QCOMPARE(back.name, header.name);
        QCOMPARE(back.backgroundKey, key);
        QCOMPARE(back.background.image().convertToFormat(QImage::Format_ARGB32), key.isEmpty() ? QImage() : test_image());
        bool at_end = false;
        const QList<buttonAttributes> got = read_list(file.mid(int(in.device()->pos())), back.version, &at_end);
        QCOMPARE(got, buttons);
        QVERIFY(at_end);
        // Equal bytes in one list are one picture, decoded once.
        QCOMPARE(got[0].picture.key(), got[2].picture.key());
        QCOMPARE(got[0].picture.png(), buttons[0].picture.png());
    }

    void payload_bytes_data()
    {
        QTest::addColumn<bool>("payload");
        QTest::addColumn<QList<buttonAttributes>>("buttons");
        QTest::addColumn<QByteArray>("expected");
        const QList<buttonAttributes> all = picker_buttons();
        bytes three;
        three.i32(2).i32(3).record(0, all[0]).record(1, all[1]).record(2, all[2]);
        QTest::newRow("payload") << true << all << three.data;
        QTest::newRow("empty payload") << true << QList<buttonAttributes>() << bytes().i32(2).i32(0).data;
        QTest::newRow("empty view") << false << QList<buttonAttributes>() << bytes().i32(0).data;
    }
    void payload_bytes()
    {
        QFETCH(bool, payload);
        QFETCH(QList<buttonAttributes>, buttons);
        QFETCH(QByteArray, expected);
        QByteArray data;
        {
            QDataStream out(&data, QIODevice::WriteOnly);
            if (payload)
                writeButtonAttributes(out, buttons);
            else
                write_button_list(out, buttons);
        }
        QCOMPARE(data.toHex(), expected.toHex());
        bool at_end = false;
        if (payload) {
            QDataStream in(data);
            QCOMPARE(readButtonAttributes(in), buttons);
            at_end = in.atEnd();
        } else {
            QCOMPARE(read_list(data, picker_format::current_version, &at_end), buttons);
        }
        QVERIFY(at_end);
    }

    void old_files_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QList<buttonAttributes>>("expected");

        const QStringList two{"ns:a", "ns:b"};
        const QStringList script{"print(1)"};
        QTest::newRow("v1: no key, kind, language, label colour or sizes")
            << 1
            << bytes().i32(1).str("Old").i32(2)
                   .i32(0).point({3, 4}).i32(25).u32(0xff112233).str("A").i32(2).str("ns:a").str("ns:b")
                   .i32(1).point({-1, -2}).i32(12).u32(0xff445566).str(QString()).i32(1).str("print(1)")
                   .data
            << QList<buttonAttributes>{
                   button({3, 4}, 25, 25, 0, 0, 0xff112233, 0xffffff, "A", two),
                   button({-1, -2}, 12, 12, 0, 0, 0xff445566, 0xffffff, QString(), script)};

        // Versions 2 and 3 share one layout.
        QTest::newRow("v2: kind and language, no label colour or sizes")
            << 2
            << bytes().i32(2).str("Two").u32(0xffffffff).i32(2)
                   .i32(0).point({3, 4}).i32(25).i32(0).i32(0).u32(0xff112233).str("A").i32(2).str("ns:a").str("ns:b")
                   .i32(1).point({-1, -2}).i32(12).i32(1).i32(1).u32(0xff445566).str("").i32(1).str("print(1)")
                   .data
            << QList<buttonAttributes>{
                   button({3, 4}, 25, 25, 0, 0, 0xff112233, 0xffffff, "A", two),
                   button({-1, -2}, 12, 12, 1, 1, 0xff445566, 0xffffff, "", script)};

        QTest::newRow("v4: label colour, one size")
            << 4
            << bytes().i32(4).str("Four").str("").i32(1)
                   .i32(0).point({0, 0}).i32(30).i32(1).i32(0).u32(0xff000000).u32(0xff0000).str("Go").i32(1).str("print(1)")
                   .data
            << QList<buttonAttributes>{button({0, 0}, 30, 30, 1, 0, 0xff000000, 0xff0000, "Go", script)};

        const buttonAttributes wide = button({8, 9}, 50, 10, 0, 0, 0xff000001, 0x123456, "W", two);
        QTest::newRow("v5: sizes; shapes as drawn before buttons had them")
            << 5 << bytes().i32(5).str("Five").str("").i32(1).record5(0, wide).data
            << QList<buttonAttributes>{wide};
        buttonAttributes star = wide;
        star.shape = qint32(button_shape::polygon);
        star.points = {{-25, 5}, {0, -5}, {25, 5}};
        QTest::newRow("v7 read with the current rules")
            << 7 << bytes().i32(7).str("Seven").str("").i32(1).record(0, star).data << QList<buttonAttributes>{star};
    }
    void old_files()
    {
        QFETCH(int, version);
        QFETCH(QByteArray, file);
        QFETCH(QList<buttonAttributes>, expected);
        QDataStream in(file);
        in.setVersion(picker_format::pkr_stream_version);
        pkr_header header;
        QVERIFY(read_pkr_header(in, header));
        QCOMPARE(header.version, version);
        QVERIFY(header.backgroundKey.isEmpty());
        QList<buttonAttributes> got;
        read_button_list(in, header.version, [&got](const buttonAttributes& a) { got << a; });
        QCOMPARE(got, expected);
        QVERIFY(in.atEnd());
    }

    // A damaged record is dropped and reading goes on; a count or a length
    // that lies gives nothing. File lists and clipboard payloads alike, and a
    // payload of another version gives nothing at all.
    void hostile_button_lists_data()
    {
        QTest::addColumn<QByteArray>("list"); // the count, then the records
        QTest::addColumn<QList<buttonAttributes>>("kept");
        const QList<buttonAttributes> all = picker_buttons(), ends{all[0], all[2]};
        const auto around = [&all](const QByteArray& record) {
            return bytes().i32(3).record(0, all[0]).raw(record).record(2, all[2]).data;
        };
        buttonAttributes a = all[0];
        QTest::newRow("wrong index") << around(bytes().record(7, a).data) << ends;
        a.kind = 2;
        QTest::newRow("kind 2") << around(bytes().record(1, a).data) << ends;
        a = all[0];
        a.names.clear();
        QTest::newRow("no names") << around(bytes().record(1, a).data) << ends;
        const auto up_to_names = [&a](int index) { return bytes().record5(index, a).data.chopped(4); };
        QTest::newRow("negative name count") << around(up_to_names(1) + bytes().i32(INT_MIN).u8(0).u32(0).data) << ends;

        const QList<buttonAttributes> none;
        QTest::newRow("two billion buttons") << bytes().i32(2000000000).i32(0).i32(0).i32(0).data << none;
        QTest::newRow("negative button count") << bytes().i32(-1).record(0, all[0]).data << none;
        QTest::newRow("two billion names")
            << bytes().i32(1).raw(up_to_names(0)).i32(2000000000).str("a").str("b").data << none;
        const QByteArray to_label = bytes().i32(1).i32(0).point({}).i32(1).i32(1).i32(1).i32(0).i32(0).u32(0).u32(0).data;
        QTest::newRow("label longer than the stream") << to_label + bytes().u32(0x7ffffffe).data << none;
        QTest::newRow("odd label length") << to_label + bytes().u32(3).raw(QByteArray(40, 'x')).data << none;
    }
    void hostile_button_lists()
    {
        QFETCH(QByteArray, list);
        QFETCH(QList<buttonAttributes>, kept);
        QCOMPARE(read_list(list, picker_format::current_version), kept);
        QDataStream payload(bytes().i32(2).raw(list).data);
        QCOMPARE(readButtonAttributes(payload), kept);
        QDataStream other(bytes().i32(3).raw(list).data);
        QVERIFY(readButtonAttributes(other).isEmpty());
    }

    // A version-6 record's shape and tagged fields: a bad shape drops the
    // record, a count or length past its limit ends the list, and a field
    // this version does not know refuses the whole file, scene or paste
    // (reading on without it would drop it on the next save).
    void record_shapes_and_fields_data()
    {
        QTest::addColumn<QByteArray>("tail"); // the middle record's bytes after its names
        QTest::addColumn<int>("kept");        // 3, 2 (middle dropped), 1 (list ends), -1 (newer)
        const auto polygon = [](qint32 count, qint32 x) {
            bytes b;
            b.u8(3).i32(count);
            for (qint32 i = 0; i < count; ++i)
                b.point({i == 1 ? x : i, i * i});
            return b.u32(0).data;
        };
        QTest::newRow("ellipse") << bytes().u8(2).u32(0).data << 3;
        QTest::newRow("polygon") << polygon(5, 40) << 3;
        QTest::newRow("polygon at the limits") << polygon(limits::max_polygon_points, 2000000) << 3;
        QTest::newRow("shape 4") << bytes().u8(4).u32(0).data << 2;
        QTest::newRow("polygon of two points") << polygon(2, 1) << 2;
        QTest::newRow("point past the limit") << polygon(3, 2000001) << 2;
        QTest::newRow("too many points") << polygon(limits::max_polygon_points + 1, 0) << 1;
        QTest::newRow("negative point count") << bytes().u8(3).i32(-1).u32(0).data << 1;
        QTest::newRow("too many fields") << bytes().u8(0).u32(limits::max_record_fields + 1).data << 1;
        QTest::newRow("field too long") << bytes().u8(0).u32(1).u32(7).u32(2 << 20).data << 1;
        QTest::newRow("unknown field") << bytes().u8(0).u32(1).u32(0x50494354).u32(4).u32(0).data << -1;
        QTest::newRow("empty unknown field") << bytes().u8(1).u32(1).u32(0x7f).u32(0).data << -1;
        const auto picture = [](const QByteArray& png) { return bytes().u8(2).u32(1).picture_field(png).data; };
        const QByteArray png = real_png();
        QTest::newRow("picture") << picture(png) << 3;
        QTest::newRow("picture with its own chunks") << picture(with_text_chunk(png)) << 3;
        QTest::newRow("picture at the side limit") << picture(claimed_png(1024, 3, true)) << 3;
        QTest::newRow("picture too wide") << picture(claimed_png(1025, 3, true)) << 2;
        QTest::newRow("picture claiming no pixels") << picture(claimed_png(0, 3)) << 2;
        QTest::newRow("picture not a PNG") << picture("GIF89a, or anything") << 2;
        QTest::newRow("empty picture") << picture(QByteArray()) << 2;
        QTest::newRow("picture cut short") << picture(png.left(png.size() - 5)) << 2;
        QTest::newRow("picture with bytes after it") << picture(png + "more") << 2;
        QTest::newRow("picture that does not decode") << picture(claimed_png(40, 40)) << 2;
        QTest::newRow("two pictures") << bytes().u8(0).u32(2).picture_field(png).picture_field(png).data << 2;
    }
    void record_shapes_and_fields()
    {
        QFETCH(QByteArray, tail);
        QFETCH(int, kept);
        const QList<buttonAttributes> all = picker_buttons();
        const QByteArray list =
            bytes().i32(3).record(0, all[0]).record5(1, all[1]).raw(tail).record(2, all[2]).data;

        QDataStream in(list);
        qint32 budget = limits::max_buttons;
        QList<buttonAttributes> got;
        const button_list_read read =
            read_button_list(in, 6, budget, [&got](const buttonAttributes& a) { got << a; });
        QCOMPARE(read.newer, kept < 0);
        QCOMPARE(got.size(), kept < 0 ? 1 : kept);
        QCOMPARE(got.first(), all[0]);
        if (kept >= 2)
            QCOMPARE(got.last(), all[2]);
        if (kept == 3) {
            QCOMPARE(got[1].shape, qint32(quint8(tail[0])));
            QCOMPARE(got[1].points.isEmpty(), got[1].shape != qint32(button_shape::polygon));
            QCOMPARE(got[1].picture.isNull(), !tail.contains("IHDR"));
        }

        QBuffer file;
        file.setData(bytes().i32(6).str("Six").u32(0xffffffff).raw(list).data);
        file.open(QIODevice::ReadOnly);
        pkr_contents contents;
        QString why;
        QCOMPARE(read_pkr(file, contents, &why), kept >= 0);
        if (kept < 0) {
            QCOMPARE(why, QString("the file was written by a newer version of the picker"));
            QVERIFY(contents.buttons.isEmpty());
        } else {
            QCOMPARE(contents.damaged, kept < 3);
        }

        QDataStream scene(bytes().i32(7).i32(1).i32(0).i32(0).str("t").str("").raw(list).data);
        window_contents window;
        QCOMPARE(read_window_stream(scene, window), kept >= 0);
        QCOMPARE(window.too_new, kept < 0);

        QDataStream payload(bytes().i32(2).raw(list).data);
        QCOMPARE(readButtonAttributes(payload).size(), kept < 0 ? 0 : got.size());
    }

    // An attribute button's widget travels in tagged field 1: a field that
    // does not describe the record's plugs drops that record alone.
    void attribute_records_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<qint32>("kind");
        QTest::addColumn<QByteArray>("fields"); // the count and the fields
        QTest::addColumn<bool>("kept");
        const QStringList one{"hero:face.jaw"}, two{"hero:eye.x", "hero:eye.y"};
        const auto field = [](const QByteArray& body) { return bytes().u32(1).u32(body.size()).raw(body).data; };
        const QByteArray slider = bytes().u8(0).f64(-1).f64(2).data;
        const QByteArray pad = bytes().u8(1).f64(0).f64(1).f64(-5).f64(5).data;
        QTest::newRow("slider") << one << 2 << bytes().u32(1).raw(field(slider)).data << true;
        QTest::newRow("slider2d") << two << 2 << bytes().u32(1).raw(field(pad)).data << true;
        QTest::newRow("checkbox") << one << 2 << bytes().u32(1).raw(field(bytes().u8(2).f64(0).f64(3).data)).data
                                  << true;
        QTest::newRow("no field") << one << 2 << bytes().u32(0).data << false;
        QTest::newRow("on a selection button") << one << 0 << bytes().u32(1).raw(field(slider)).data << false;
        QTest::newRow("widget 3") << one << 2 << bytes().u32(1).raw(field(bytes().u8(3).f64(0).f64(1).data)).data
                                  << false;
        QTest::newRow("empty range") << one << 2 << bytes().u32(1).raw(field(bytes().u8(0).f64(1).f64(1).data)).data
                                     << false;
        QTest::newRow("not a number")
            << one << 2 << bytes().u32(1).raw(field(bytes().u8(0).f64(qQNaN()).f64(1).data)).data << false;
        QTest::newRow("beyond the limit")
            << one << 2 << bytes().u32(1).raw(field(bytes().u8(0).f64(0).f64(1e16).data)).data << false;
        QTest::newRow("two plugs for a slider") << two << 2 << bytes().u32(1).raw(field(slider)).data << false;
        QTest::newRow("one plug for a pad") << one << 2 << bytes().u32(1).raw(field(pad)).data << false;
        QTest::newRow("short") << one << 2 << bytes().u32(1).raw(field(bytes().u8(0).f64(0).data)).data << false;
        QTest::newRow("bytes after") << one << 2 << bytes().u32(1).raw(field(slider + "x")).data << false;
        QTest::newRow("twice") << one << 2 << bytes().u32(2).raw(field(slider)).raw(field(slider)).data << false;
        QTest::newRow("a plug that could run MEL")
            << QStringList{"face.jaw; system(\"x\")"} << 2 << bytes().u32(1).raw(field(slider)).data << false;
    }
    void attribute_records()
    {
        QFETCH(QStringList, names);
        QFETCH(qint32, kind);
        QFETCH(QByteArray, fields);
        QFETCH(bool, kept);
        const QList<buttonAttributes> all = picker_buttons();
        buttonAttributes a = all[1];
        a.kind = kind;
        a.names = names;
        a.shape = 0;
        const QByteArray list = bytes().i32(3).record(0, all[0]).record5(1, a).u8(0).raw(fields).record(2, all[2]).data;
        QDataStream in(list);
        qint32 budget = limits::max_buttons;
        QList<buttonAttributes> got;
        const button_list_read read = read_button_list(in, 6, budget, [&got](const buttonAttributes& b) { got << b; });
        QCOMPARE(read.accepted, kept ? 3 : 2);
        QCOMPARE(got.last(), all[2]);
        if (!kept)
            return;
        // What was read writes back to the same bytes.
        QByteArray again;
        QDataStream out(&again, QIODevice::WriteOnly);
        write_button_record(out, 1, got[1]);
        QCOMPARE(again, bytes().record5(1, a).u8(0).raw(fields).data);
    }

    // Copied buttons paste with their shapes; payloads of version 1
    // (records of version 5) still paste, with the shapes those buttons
    // were drawn with.
    void payloads_keep_shapes()
    {
        QList<buttonAttributes> all = picker_buttons();
        all[0].shape = qint32(button_shape::polygon);
        all[0].points = {{-20, -12}, {20, -12}, {0, 12}};
        all[2].shape = qint32(button_shape::ellipse);
        QByteArray data;
        {
            QDataStream out(&data, QIODevice::WriteOnly);
            writeButtonAttributes(out, all);
        }
        QCOMPARE(data.toHex(), bytes().i32(2).i32(3).record(0, all[0]).record(1, all[1]).record(2, all[2]).data.toHex());
        QDataStream in(data);
        QCOMPARE(readButtonAttributes(in), all);

        const QList<buttonAttributes> old = picker_buttons();
        QDataStream one(bytes().i32(1).i32(3).record5(0, old[0]).record5(1, old[1]).record5(2, old[2]).data);
        QCOMPARE(readButtonAttributes(one), old);
    }

    void cut_stream_keeps_complete_records_data()
    {
        QTest::addColumn<bool>("payload");
        QTest::newRow("pkr file with background") << false;
        QTest::newRow("clipboard payload") << true;
    }
    void cut_stream_keeps_complete_records()
    {
        QFETCH(bool, payload);
        const QList<buttonAttributes> all = picker_buttons();
        QByteArray data;
        int header_end = 0;
        QVector<int> record_ends;
        {
            QDataStream out(&data, QIODevice::WriteOnly);
            out.setVersion(picker_format::pkr_stream_version);
            if (payload) {
                out << picker_format::payload_version;
            } else {
                pkr_header header;
                header.name = "Cut";
                header.backgroundKey = "bg";
                header.background = png_picture::from_image(test_image());
                write_pkr_header(out, header);
            }
            header_end = data.size();
            out << qint32(all.size());
            for (int j = 0; j < all.size(); ++j) {
                write_button_record(out, j, all[j]);
                record_ends << data.size();
            }
        }

        // Cuts inside the image make libpng print read errors on stderr; expected.
        for (int cut = 0; cut < data.size(); ++cut) {
            QDataStream in(data.left(cut));
            in.setVersion(picker_format::pkr_stream_version);
            QList<buttonAttributes> got;
            if (payload) {
                got = readButtonAttributes(in);
            } else {
                pkr_header header;
                const bool ok = read_pkr_header(in, header);
                // The image reader does not need the PNG's 12-byte end chunk, so a
                // header cut there may still come back, but then with the whole image.
                QVERIFY2(ok || cut < header_end, qPrintable(QString::number(cut)));
                QVERIFY2(!ok || cut >= header_end - 12, qPrintable(QString::number(cut)));
                if (ok) {
                    QCOMPARE(header.name, QStringLiteral("Cut"));
                    QCOMPARE(header.background.image().convertToFormat(QImage::Format_ARGB32), test_image());
                    read_button_list(in, header.version, [&got](const buttonAttributes& a) { got << a; });
                }
            }
            int complete = 0;
            while (complete < record_ends.size() && record_ends[complete] <= cut)
                ++complete;
            QVERIFY2(got == all.mid(0, complete), qPrintable(QString::number(cut)));
        }
    }

    // What reading a .pkr reports: refused outright when it is no picker,
    // else the buttons read, those declared and whether it was damaged.
    void pkr_reports_what_was_read_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("accepted"); // -1: refused
        QTest::addColumn<int>("declared");
        QTest::addColumn<bool>("damaged");
        QByteArray noise(4096, 0);
        QRandomGenerator random(11);
        for (char& c : noise)
            c = char(random.bounded(256));
        QTest::newRow("empty") << QByteArray() << -1 << 0 << false;
        QTest::newRow("random bytes") << noise << -1 << 0 << false;
        QTest::newRow("version only") << bytes().i32(5).data << -1 << 0 << false;
        QTest::newRow("cut inside the name") << bytes().i32(5).u32(20).raw("\0a\0b").data << -1 << 0 << false;
        QTest::newRow("version 0") << bytes().i32(0).str("x").str(QString()).i32(0).data << -1 << 0 << false;
        QTest::newRow("version two billion") << bytes().i32(2000000000).str("x").str(QString()).i32(0).data << -1 << 0
                                             << false;
        bytes nine;
        nine.i32(5).str("Hero").str(QString()).i32(9);
        QVector<int> ends;
        for (int j = 0; j < 9; ++j) {
            nine.record5(j, picker_buttons()[j % 3]);
            ends << nine.data.size();
        }
        QTest::newRow("whole") << nine.data << 9 << 9 << false;
        QTest::newRow("cut after the fourth button") << nine.data.left(ends[3]) << 4 << 9 << true;
        QTest::newRow("cut before the count") << nine.data.left(ends[0] - picker_buttons()[0].names.size()) << 0 << 9 << true;
        buttonAttributes bad = picker_buttons()[0];
        bad.kind = 2;
        bytes dropped;
        dropped.i32(5).str("Hero").str(QString()).i32(2).record5(0, bad).record5(1, picker_buttons()[1]);
        QTest::newRow("a button of an unknown kind") << dropped.data << 1 << 2 << true;
        QTest::newRow("negative count") << bytes().i32(5).str("Hero").str(QString()).i32(-4).data << 0 << -4 << true;
        QTest::newRow("more buttons than the limit")
            << bytes().i32(5).str("Hero").str(QString()).i32(limits::max_buttons + 1).data << 0
            << limits::max_buttons + 1 << true;
    }
    void pkr_reports_what_was_read()
    {
        QFETCH(QByteArray, data);
        QFETCH(int, accepted);
        QFETCH(int, declared);
        QFETCH(bool, damaged);
        QBuffer device(&data);
        QVERIFY(device.open(QIODevice::ReadOnly));
        pkr_contents got;
        QString why;
        QCOMPARE(read_pkr(device, got, &why), accepted >= 0);
        QCOMPARE(why.isEmpty(), accepted >= 0);
        QCOMPARE(got.buttons.size(), qMax(accepted, 0));
        if (accepted < 0)
            return;
        QCOMPARE(got.declared, declared);
        QCOMPARE(got.damaged, damaged);
        QCOMPARE(got.header.name, QString("Hero"));
    }

    // The side patterns follow the buttons in a tagged block; other bytes
    // there are left alone, and a block that is cut, over a limit or no
    // pairs costs the patterns only (never more memory than its bytes).
    void side_patterns_after_the_buttons_data()
    {
        QTest::addColumn<QByteArray>("tail");
        QTest::addColumn<QStringList>("patterns");
        QTest::addColumn<bool>("damaged");
        const quint32 tag = 0x51504154; // "QPAT"
        QTest::newRow("none, as older files") << QByteArray() << QStringList() << false;
        QTest::newRow("a pair") << bytes().u32(tag).i32(1).i32(2).str("lf_").str("rt_").data
                                << QStringList{"lf_", "rt_"} << false;
        QTest::newRow("other bytes") << QByteArray("junk after") << QStringList() << false;
        QTest::newRow("cut short") << bytes().u32(tag).i32(1).i32(2).str("lf_").data << QStringList() << true;
        QTest::newRow("a pattern claiming a gigabyte")
            << bytes().u32(tag).i32(1).i32(2).u32(0x40000000).data << QStringList() << true;
        QTest::newRow("a pattern of 65 characters")
            << bytes().u32(tag).i32(1).i32(2).str(QString(65, 'L')).str("R").data << QStringList() << true;
        QTest::newRow("a billion patterns") << bytes().u32(tag).i32(1).i32(1 << 30).data << QStringList() << true;
        QTest::newRow("two lists for one picker")
            << bytes().u32(tag).i32(2).i32(2).str("lf_").str("rt_").i32(0).data << QStringList() << true;
        QTest::newRow("no pairs") << bytes().u32(tag).i32(1).i32(2).str("lf_").str("lf_").data << QStringList()
                                  << true;
    }
    void side_patterns_after_the_buttons()
    {
        QFETCH(QByteArray, tail);
        QFETCH(QStringList, patterns);
        QFETCH(bool, damaged);
        pkr_header header;
        header.name = "Hero";
        QByteArray data = write_pkr(header, picker_buttons()) + tail;
        QBuffer device(&data);
        QVERIFY(device.open(QIODevice::ReadOnly));
        pkr_contents got;
        QVERIFY(read_pkr(device, got, nullptr));
        QCOMPARE(got.buttons.size(), 3);
        QCOMPARE(got.header.mirrorPatterns, patterns);
        QCOMPARE(got.damaged, damaged);
        QCOMPARE(got.patterns_damaged, damaged);
        if (!patterns.isEmpty()) {
            header.mirrorPatterns = patterns;
            QCOMPARE(write_pkr(header, picker_buttons()).toHex(), data.toHex());
        }
    }

    void background_images_data()
    {
        QTest::addColumn<QByteArray>("pixmap");
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QSize>("size");
        const QByteArray png = real_png();
        const int idat = png.indexOf("IDAT");
        QByteArray bad_pixels = png;
        bad_pixels[idat + 8] = char(bad_pixels[idat + 8] ^ 0x55);
        QByteArray bad_length = png;
        bad_length.replace(idat - 4, 4, bytes().u32(0x7ffffff0).data);

        QTest::newRow("image") << bytes().i32(1).raw(png).data << false << QSize(7, 5);
        // Each differs from what a pixmap's stream operator makes of its pixels.
        QTest::newRow("image with a text chunk") << bytes().i32(1).raw(with_text_chunk(png)).data << false << QSize(7, 5);
        QTest::newRow("palette image")
            << bytes().i32(1).raw(encoded(test_image().convertToFormat(QImage::Format_Indexed8), "PNG", 50)).data
            << false << QSize(7, 5);
        QTest::newRow("null image") << bytes().i32(0).data << false << QSize();
        QTest::newRow("claims 16000 x 16000") << bytes().i32(1).raw(claimed_png(16000, 16000)).data << true << QSize();
        QTest::newRow("claims 4 billion wide") << bytes().i32(1).raw(claimed_png(0xffffffffu, 1)).data << true << QSize();
        QTest::newRow("claims no pixels") << bytes().i32(1).raw(claimed_png(0, 5)).data << true << QSize();
        QTest::newRow("damaged pixel data") << bytes().i32(1).raw(bad_pixels).data << true << QSize();
        QTest::newRow("chunk length past the end") << bytes().i32(1).raw(bad_length).data << true << QSize();
    }
    void background_images()
    {
        // Whatever the image holds, it costs at most the image: the buttons
        // behind it are all read.
        QFETCH(QByteArray, pixmap);
        QFETCH(bool, refused);
        QFETCH(QSize, size);
        QByteArray file = pkr_with_pixmap(pixmap);
        QBuffer device(&file);
        QVERIFY(device.open(QIODevice::ReadOnly));
        pkr_contents got;
        QVERIFY(read_pkr(device, got, nullptr));
        QCOMPARE(got.image_refused, refused);
        QCOMPARE(got.header.background.size(), size.isValid() ? size : QSize(0, 0));
        QCOMPARE(got.buttons, picker_buttons().toVector());
        QVERIFY(!got.damaged);
        // A picture kept is written back as it was read.
        if (!refused)
            QCOMPARE(write_pkr(got.header, got.buttons.toList()).toHex(), pkr_with_pixmap(pixmap, 6).toHex());

        // The same through the older header reader.
        QDataStream in(file);
        in.setVersion(picker_format::pkr_stream_version);
        pkr_header header;
        bool image_refused = false;
        QVERIFY(read_pkr_header(in, header, &image_refused));
        QCOMPARE(image_refused, refused);
        QCOMPARE(read_list(file.mid(int(in.device()->pos())), header.version), picker_buttons());

        // And as a scene image entry, with and without the stream's marker.
        bool scene_refused = false;
        QCOMPARE(decode_image(pixmap.toBase64(), &scene_refused).size(), size.isValid() ? size : QSize(0, 0));
        QCOMPARE(scene_refused, refused);
        if (pixmap.size() > 4) {
            QCOMPARE(decode_image(pixmap.mid(4).toBase64(), &scene_refused).size(),
                     size.isValid() ? size : QSize(0, 0));
            QCOMPARE(scene_refused, refused);
        }
        // A picture kept goes back into the scene with the marker and the
        // same bytes, also when an older picker wrote it as plain PNG.
        if (!refused && size.isValid()) {
            QCOMPARE(encode_image(decode_image(pixmap.toBase64())), pixmap.toBase64());
            QCOMPARE(encode_image(decode_image(pixmap.mid(4).toBase64())), pixmap.toBase64());
        }
    }

    void background_files_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("kept"); // the PNG the picture keeps; empty: a new one
        QTest::addColumn<QString>("error");   // empty: the file loads
        const QByteArray png = with_text_chunk(real_png());
        QByteArray bad_pixels = png;
        const int idat = png.indexOf("IDAT");
        bad_pixels[idat + 8] = char(bad_pixels[idat + 8] ^ 0x55);
        const QByteArray jpeg = encoded(test_image(), "JPG", 90);

        QTest::newRow("PNG") << png << "a.png" << png << QString();
        QTest::newRow("PNG drawn by hand") << claimed_png(64, 48, true) << "a.png" << claimed_png(64, 48, true)
                                           << QString();
        QTest::newRow("PNG with junk after its end") << png + "trailing junk" << "a.png" << png << QString();
        QTest::newRow("PNG without its end chunk") << png.left(png.size() - 12) << "a.png" << QByteArray()
                                                   << "the PNG is cut short or damaged";
        QTest::newRow("PNG claiming 5000 x 5000") << claimed_png(5000, 5000, true) << "a.png" << QByteArray()
                                                  << "is 5000 x 5000 pixels; a background holds at most 4096 x 4096";
        QTest::newRow("PNG whose pixels are damaged") << bad_pixels << "a.png" << QByteArray()
                                                      << "the PNG does not decode";
        QTest::newRow("JPEG named .png") << jpeg << "b.png" << QByteArray() << QString();
        // An icon's directory says at most 256 and may lie: each picture it
        // holds is measured from its own header.
        QByteArray ico;
        {
            QBuffer buffer(&ico);
            buffer.open(QIODevice::WriteOnly);
            QVERIFY(test_image().save(&buffer, "ICO"));
        }
        const auto icon_of = [](const QByteArray& png) {
            bytes b;
            b.raw(QByteArray("\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0", 14));
            const quint32 size = quint32(png.size()), offset = 22;
            for (quint32 v : {size, offset})
                for (int i = 0; i < 4; ++i)
                    b.data.append(char((v >> (8 * i)) & 0xff));
            return b.raw(png).data;
        };
        QTest::newRow("ICO") << ico << "d.ico" << QByteArray() << QString();
        QTest::newRow("ICO holding a PNG") << icon_of(real_png()) << "e.ico" << QByteArray() << QString();
        QTest::newRow("ICO holding a PNG past the limit")
            << icon_of(claimed_png(16384, 16384)) << "f.ico" << QByteArray()
            << "is 16384 x 16384 pixels; a background holds at most 4096 x 4096";
        QTest::newRow("text named .png") << QByteArray("not a picture") << "c.png" << QByteArray()
                                         << "could not read the image";
    }
    void background_files()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, name);
        QFETCH(QByteArray, kept);
        QFETCH(QString, error);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        {
            QFile out(path);
            QVERIFY(out.open(QIODevice::WriteOnly));
            QCOMPARE(out.write(file), qint64(file.size()));
        }
        QString why;
        const png_picture picture = load_image_file(path, &why);
        if (!error.isEmpty()) {
            QVERIFY(picture.isNull());
            QVERIFY2(why.contains(error), qPrintable(why));
            return;
        }
        QVERIFY2(!picture.isNull(), qPrintable(why));
        if (!kept.isEmpty())
            QCOMPARE(picture.png().toHex(), kept.toHex());
        // The pixels are the file's, whatever its format.
        QCOMPARE(picture.image().convertToFormat(QImage::Format_ARGB32),
                 QImage::fromData(file).convertToFormat(QImage::Format_ARGB32));

        // A .pkr and a scene entry hold the picture's bytes, and give back
        // those bytes and those pixels, with the buttons after them in step.
        pkr_header header;
        header.name = "Hero";
        header.backgroundKey = "7";
        header.background = picture;
        QByteArray saved = write_pkr(header, picker_buttons());
        QVERIFY(saved.contains(bytes().i32(1).raw(picture.png()).data));
        QBuffer device(&saved);
        QVERIFY(device.open(QIODevice::ReadOnly));
        pkr_contents got;
        QVERIFY(read_pkr(device, got, nullptr));
        QVERIFY(!got.damaged && !got.image_refused);
        QCOMPARE(got.header.background.png(), picture.png());
        QCOMPARE(got.header.background.image(), picture.image());
        QCOMPARE(got.buttons, picker_buttons().toVector());
        const png_picture entry = decode_image(encode_image(picture));
        QCOMPARE(entry.png(), picture.png());
        QCOMPARE(entry.image(), picture.image());
    }

    // Whole pictures past what is kept decoded: the least recently shown
    // let go of their pixels and decode the same pixels when shown again.
    void pictures_past_the_decoded_budget_decode_again()
    {
        const int side = limits::image_square_side;
        QList<QImage> images;
        QList<png_picture> pictures;
        for (int i = 0; i < 3; ++i) {
            QImage image(side, side, QImage::Format_RGB32);
            image.fill(QColor(60 * i, 90, 200));
            QPainter(&image).fillRect(100 * i, 7, 50, 50, Qt::yellow);
            images << image;
            pictures << png_picture::from_image(image);
            QVERIFY(png_picture::decoded_pixels() <= png_picture::decoded_pixel_budget);
        }
        for (int i : {0, 2, 1, 0}) {
            QCOMPARE(pictures[i].image(), images[i]);
            QVERIFY(png_picture::decoded_pixels() <= png_picture::decoded_pixel_budget);
        }
        QCOMPARE(pictures[2].size(), QSize(side, side));
        pictures.clear();
        QCOMPARE(png_picture::decoded_pixels(), qint64(0));
    }

    void absurd_geometry_is_clamped_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<QSize>("size"); // width, height
        const int big = limits::max_coordinate, side = limits::max_button_side;
        QTest::newRow("extremes")
            << 5
            << bytes().i32(0).point({INT_MAX, INT_MIN}).i32(INT_MIN).i32(INT_MAX).i32(-7).i32(0).i32(0).u32(0).u32(0)
                   .str("x").i32(1).str("n").data
            << QPoint(big, -big) << QSize(side, 0);
        QTest::newRow("just inside")
            << 5
            << bytes().i32(0).point({big, -big}).i32(side).i32(side).i32(0).i32(0).i32(0).u32(0).u32(0).str("x").i32(1)
                   .str("n").data
            << QPoint(big, -big) << QSize(side, 0);
        QTest::newRow("version 1 size") << 1
                                        << bytes().i32(0).point({-big - 1, 3}).i32(INT_MAX).u32(0).str("x").i32(1).str("n").data
                                        << QPoint(-big, 3) << QSize(side, side);
    }
    void absurd_geometry_is_clamped()
    {
        QFETCH(int, version);
        QFETCH(QByteArray, record);
        QFETCH(QPoint, pos);
        QFETCH(QSize, size);
        const QList<buttonAttributes> got = read_list(bytes().i32(1).raw(record).data, version);
        QCOMPARE(got.size(), 1);
        QCOMPARE(got[0].pos, pos);
        QCOMPARE(QSize(got[0].width, got[0].height), size);
        QVERIFY(got[0].size >= 0 && got[0].size <= limits::max_button_side);
    }

    void window_stream_limits_and_images()
    {
        // A tab keeps what a picker may and the tabs after it are read; the
        // scene's total is shared, and the tab that crosses it keeps what fit.
        const int max = limits::max_buttons;
        QByteArray data = window_stream({max + 5, 10, max, max, max - 20, 300, 4});
        QDataStream in(data);
        window_contents got;
        QVERIFY(read_window_stream(in, got));
        QVERIFY(got.damaged);
        QCOMPARE(got.tabs.size(), 7);
        QCOMPARE(got.tabs[0].buttons.size(), max);
        QCOMPARE(got.tabs[1].buttons.size(), 10);
        QCOMPARE(got.tabs[5].declared, 300);
        QCOMPARE(got.tabs[5].buttons.size(), limits::max_scene_buttons - 4 * max + 10);
        QCOMPARE(got.tabs[6].buttons.size(), 0);
        QVERIFY(in.atEnd());

        // More tabs than the limit: the first ones are read.
        QByteArray many = window_stream(QVector<int>(limits::max_tabs + 10, 0));
        QDataStream many_in(many);
        QVERIFY(read_window_stream(many_in, got));
        QCOMPARE(got.tabs.size(), int(limits::max_tabs));
        QCOMPARE(got.declared_tabs, limits::max_tabs + 10);
        QVERIFY(got.damaged);

        // Too new: nothing past the version is read.
        QByteArray newer = bytes().i32(8).i32(1).i32(0).data;
        QDataStream newer_in(newer);
        QVERIFY(!read_window_stream(newer_in, got));
        QVERIFY(got.too_new);
        QCOMPARE(newer_in.device()->pos(), qint64(4));

        // A refused image keeps its tab's buttons; an image without an end
        // stops the stream but keeps the tabs before it.
        bytes b;
        b.i32(5).i32(3).i32(1);
        b.i32(0).str("big").str("k1").i32(1).raw(claimed_png(16000, 16000)).i32(1).record5(0, picker_buttons()[0]);
        b.i32(1).str("cut").str("k2").i32(1).raw(real_png().left(60));
        QDataStream images_in(b.data);
        QVERIFY(read_window_stream(images_in, got));
        QCOMPARE(got.tabs.size(), 2);
        QVERIFY(got.tabs[0].image_refused);
        QCOMPARE(got.tabs[0].buttons, picker_buttons().mid(0, 1).toVector());
        QCOMPARE(got.tabs[1].text, QString("cut"));
        QVERIFY(got.tabs[1].image_refused);
        QVERIFY(got.damaged);
    }

    // The pictures of a file, a scene or a paste share one pixel budget
    // with the background; a record whose picture would pass it is damaged.
    // Equal bytes cost once, so thousands of buttons with one icon read whole.
    void button_pictures_share_one_budget()
    {
        const QByteArray icon = claimed_png(1024, 1024, true); // a 64th of the budget
        const auto distinct = [&icon](int i) {
            return icon.left(33) + png_chunk("tEXt", QByteArray("n\0", 2) + QByteArray::number(i)) + icon.mid(33);
        };
        const auto list = [](const QVector<QByteArray>& pngs) {
            bytes b;
            b.i32(pngs.size());
            for (int j = 0; j < pngs.size(); ++j)
                b.record5(j, picker_buttons()[2]).u8(0).u32(1).picture_field(pngs[j]);
            return b.data;
        };
        QVector<QByteArray> many;
        for (int i = 0; i < 70; ++i)
            many << distinct(i);

        QDataStream same(list(QVector<QByteArray>(2000, icon)));
        qint32 budget = limits::max_buttons;
        picture_pool pool;
        QSet<qint64> keys;
        const button_list_read read = read_button_list(
            same, 6, budget, [&keys](const buttonAttributes& a) { keys << a.picture.key(); }, nullptr, &pool);
        QCOMPARE(read.accepted, 2000);
        QCOMPARE(keys.size(), 1);
        QCOMPARE(pool.pixel_budget, limits::max_total_image_pixels - 1024 * 1024);

        // A 2048 x 2048 background leaves room for 60 of them; a picture
        // met before still reads after the budget is spent.
        QBuffer file;
        file.setData(bytes().i32(6).str("Icons").str("1").i32(1).raw(claimed_png(2048, 2048, true))
                         .raw(list(many.mid(0, 61) << many[0])).data);
        file.open(QIODevice::ReadOnly);
        pkr_contents contents;
        QVERIFY(read_pkr(file, contents, nullptr));
        QVERIFY(!contents.header.background.isNull());
        QCOMPARE(contents.buttons.size(), 61);
        QVERIFY(contents.damaged);
        QCOMPARE(contents.buttons.last().picture, contents.buttons.first().picture);

        // Tabs of a scene share it, and so do the buttons of a paste.
        QDataStream scene(bytes().i32(7).i32(2).i32(0).i32(0).str("a").str("").raw(list(many.mid(0, 40)))
                              .i32(1).str("b").str("").raw(list(many.mid(40) + many.mid(0, 3))).data);
        window_contents window;
        QVERIFY(read_window_stream(scene, window));
        QCOMPARE(window.tabs.size(), 2);
        QCOMPARE(window.tabs[0].buttons.size() + window.tabs[1].buttons.size(), 64 + 3);
        QVERIFY(window.damaged);
        QDataStream payload(bytes().i32(2).raw(list(many)).data);
        QCOMPARE(readButtonAttributes(payload).size(), 64);
    }

    // A button with more names than any holds is passed over and reading
    // goes on, in files, scenes and pastes alike.
    void a_record_over_a_limit_is_passed_over()
    {
        const QList<buttonAttributes> kept = picker_buttons().mid(0, 2);
        buttonAttributes huge = kept[0];
        huge.names = QStringList();
        bytes names;
        for (int i = 0; i <= limits::max_names; ++i)
            names.str("x");
        const auto list = [&](bytes& b) {
            b.i32(3).record5(0, kept[0]);
            b.i32(1).point(huge.pos).i32(9).i32(9).i32(9).i32(0).i32(0).u32(0).u32(0).str("huge");
            b.i32(limits::max_names + 1).raw(names.data);
            b.record5(2, kept[1]);
        };
        bytes pkr;
        pkr.i32(5).str("p").str(QString());
        list(pkr);
        QBuffer file(&pkr.data);
        file.open(QIODevice::ReadOnly);
        pkr_contents got;
        QVERIFY(read_pkr(file, got, nullptr));
        QCOMPARE(got.buttons, kept.toVector());
        QVERIFY(got.damaged);

        bytes window;
        window.i32(5).i32(2).i32(0).i32(0).str("a").str(QString());
        list(window);
        window.i32(1).str("b").str(QString()).i32(1).record5(0, kept[1]);
        QDataStream in(window.data);
        window_contents scene;
        QVERIFY(read_window_stream(in, scene));
        QCOMPARE(scene.tabs.size(), 2);
        QCOMPARE(scene.tabs[0].buttons, kept.toVector());
        QCOMPARE(scene.tabs[1].buttons.size(), 1);

        bytes paste;
        paste.i32(1);
        list(paste);
        QDataStream payload(paste.data);
        QCOMPARE(readButtonAttributes(payload), kept);
    }

    // The names of all a file's buttons are bounded too: the button that
    // would cross the bound is dropped, and the ones after it still read.
    void names_of_a_whole_file_are_bounded()
    {
        const int full = int(limits::max_total_names / limits::max_names);
        bytes names;
        for (int i = 0; i < limits::max_names; ++i)
            names.str("a");
        bytes pkr;
        pkr.i32(5).str("p").str(QString()).i32(full + 2);
        for (int j = 0; j <= full; ++j) { // the first one short of the bound by a name
            pkr.i32(j).point(QPoint(j, 0)).i32(9).i32(9).i32(9).i32(0).i32(0).u32(0).u32(0).str(QString());
            pkr.i32(limits::max_names - (j == 0)).raw(j == 0 ? names.data.mid(6) : names.data);
        }
        pkr.record5(full + 1, picker_buttons()[2]);
        QBuffer file(&pkr.data);
        file.open(QIODevice::ReadOnly);
        pkr_contents got;
        QVERIFY(read_pkr(file, got, nullptr));
        QCOMPARE(got.buttons.size(), full + 1);
        QCOMPARE(got.buttons.last(), picker_buttons()[2]);
        QVERIFY(got.damaged);
    }

    void scene_data_round_trips_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QByteArray noise(300000, 0);
        QRandomGenerator random(3);
        for (char& c : noise)
            c = char(random.bounded(256));
        QByteArray text;
        for (int i = 0; i < 20000; ++i)
            text += QByteArray::number(i * 7919 % 1000) + (i % 3 ? " ctrl" : " hand_L");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("random, stored blocks") << noise;
        QTest::newRow("text, dynamic codes") << text;
        QTest::newRow("zeros up to the limit") << QByteArray(int(limits::max_scene_data_bytes), 0);
    }
    void scene_data_round_trips()
    {
        QFETCH(QByteArray, stream);
        QCOMPARE(decode_picker_data(encode_picker_data(stream)), stream);
        // The inflater of builds without zlib reads the same.
        if (!stream.isEmpty())
            QCOMPARE(inflate_without_zlib(qCompress(stream, 9).mid(4), stream.size()), stream);
    }

    void hostile_scene_texts_data()
    {
        QTest::addColumn<QByteArray>("text");
        const QByteArray valid = qCompress(QByteArray("picker"), 9);
        const auto lying = [](quint32 declared, const QByteArray& zlib) {
            return (bytes().u32(declared).data + zlib).toBase64();
        };
        QByteArray wrong_sum = valid;
        wrong_sum[wrong_sum.size() - 1] = char(wrong_sum[wrong_sum.size() - 1] ^ 1);
        QTest::newRow("bomb: claims 1000 bytes, inflates to 100 MB") << lying(1000, zeros_zlib(100 << 20));
        QTest::newRow("bomb: claims the limit, inflates past it")
            << lying(quint32(limits::max_scene_data_bytes), zeros_zlib(limits::max_scene_data_bytes + 1));
        QTest::newRow("claims 4 GB") << lying(0xffffffffu, valid.mid(4));
        QTest::newRow("claims fewer bytes than it holds") << lying(3, valid.mid(4));
        QTest::newRow("wrong checksum") << wrong_sum.toBase64();
        QTest::newRow("cut short") << valid.left(valid.size() - 6).toBase64();
    }
    void hostile_scene_texts()
    {
        QFETCH(QByteArray, text);
        QVERIFY(decode_picker_data(text).isEmpty());
        const QByteArray raw = QByteArray::fromBase64(text);
        if (raw.size() >= 4) {
            const qint64 declared = qint64(quint32(uchar(raw[0])) << 24 | quint32(uchar(raw[1])) << 16 |
                                           quint32(uchar(raw[2])) << 8 | quint32(uchar(raw[3])));
            if (declared <= limits::max_scene_data_bytes)
                QVERIFY(inflate_without_zlib(raw.mid(4), declared).isEmpty());
        }
    }
};

QTEST_MAIN(test_stream)
#include "test_stream.moc"
