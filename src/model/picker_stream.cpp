#include "model/picker_stream.h"

#include "model/limits.h"
#include "model/side_patterns.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

// Readers never trust a count: every loop stops at the first stream error and
// at the limits, and each pass consumes bytes, so a damaged count costs at
// most the bytes that are really there. Nothing is reserved from a count.

namespace {

bool stream_ok(const QDataStream& in)
{
    return in.status() == QDataStream::Ok;
}

bool in_range(qint32 v)
{
    return v == 0 || v == 1;
}

qint32 clamp_side(qint32 v)
{
    return std::clamp(v, 0, limits::max_button_side);
}

// Reads the `count` records (the claim is never trusted: each pass consumes
// bytes and the first stream error ends the list), handing the valid ones
// on while the budget lasts and dropping the rest.
template <typename T>
button_list_read read_records(QDataStream& in, int version, qint32 count, qint32& budget, T&& accept,
                              qint64* names_budget, picture_pool* pool)
{
    button_list_read result;
    result.declared = count;
    picture_pool own;
    if (!pool)
        pool = &own;
    buttonAttributes a;
    for (qint32 j = 0; j < count; ++j) {
        bool over_limit = false;
        const bool valid = read_button_record(in, version, j, a, &over_limit, &result.newer, pool);
        if (!stream_ok(in))
            break;
        if (valid && budget > 0 && (!names_budget || a.names.size() <= *names_budget)) {
            --budget;
            if (names_budget)
                *names_budget -= a.names.size();
            accept(a);
            ++result.accepted;
        } else if (valid || over_limit) {
            ++result.over_limit;
        }
    }
    result.damaged = result.accepted < count || !stream_ok(in);
    return result;
}

// Moves past one string without keeping it.
void skip_string(QDataStream& in)
{
    quint32 bytes = 0;
    in >> bytes;
    if (!stream_ok(in) || bytes == 0xffffffffu)
        return;
    if (bytes & 1) {
        in.setStatus(QDataStream::ReadCorruptData);
        return;
    }
    const int want = int(std::min<quint32>(bytes, INT_MAX));
    if (bytes > quint32(INT_MAX) || in.skipRawData(want) != want)
        in.setStatus(QDataStream::ReadPastEnd);
}

// `bytes` bytes into `out`; a stream that ends first fails.
bool read_exactly(QDataStream& in, quint32 bytes, QByteArray& out)
{
    out = QByteArray(int(bytes), Qt::Uninitialized);
    if (in.readRawData(out.data(), out.size()) == out.size())
        return true;
    in.setStatus(QDataStream::ReadPastEnd);
    return false;
}

// A string of at most `most` characters; a longer claim fails the stream
// before anything is allocated for it.
bool read_short_string(QDataStream& in, int most, QString& out)
{
    out.clear();
    quint32 bytes = 0;
    in >> bytes;
    if (!stream_ok(in))
        return false;
    if (bytes == 0xffffffffu) {
        out = QString();
        return true;
    }
    if ((bytes & 1) || bytes > quint32(2 * most)) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    QByteArray raw;
    if (!read_exactly(in, bytes, raw))
        return false;
    const bool big = in.byteOrder() == QDataStream::BigEndian;
    out.reserve(raw.size() / 2);
    for (int i = 0; i + 1 < raw.size(); i += 2) {
        const ushort hi = uchar(raw[big ? i : i + 1]);
        const ushort lo = uchar(raw[big ? i + 1 : i]);
        out.append(QChar(ushort(hi << 8 | lo)));
    }
    return true;
}

// The end chunk with its fixed CRC: what a damaged PNG is resynchronised on.
const char png_end[12] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', '\xae', '\x42', '\x60', '\x82'};

// After a PNG whose chunks do not hold together: moves the device past the
// next end chunk, so what follows the image can still be read.
bool skip_to_png_end(QIODevice* device, qint64 from)
{
    if (device->isSequential() || !device->seek(from))
        return false;
    const QByteArray marker(png_end + 4, 8);
    QByteArray window;
    qint64 window_start = from;
    for (;;) {
        const QByteArray more = device->read(1 << 20);
        if (more.isEmpty())
            return false;
        window += more;
        const int at = window.indexOf(marker);
        if (at >= 0)
            return device->seek(window_start + at + marker.size());
        const int keep = marker.size() - 1;
        window_start += window.size() - keep;
        window = window.right(keep);
    }
}

} // namespace

void clamp_geometry(buttonAttributes& a)
{
    a.pos = QPoint(std::clamp(a.pos.x(), -limits::max_coordinate, limits::max_coordinate),
                   std::clamp(a.pos.y(), -limits::max_coordinate, limits::max_coordinate));
    a.size = clamp_side(a.size);
    a.width = clamp_side(a.width);
    a.height = clamp_side(a.height);
}

picture_read read_picture(QDataStream& in, png_picture& picture, qint64* pixel_budget,
                          const QList<png_picture>* known)
{
    picture = png_picture();
    if (!stream_ok(in) || !in.device())
        return picture_read::broken;
    if (in.version() >= 5) {
        qint32 marker = 0;
        in >> marker;
        if (!stream_ok(in))
            return picture_read::broken;
        if (marker == 0)
            return picture_read::null_image;
    }
    QIODevice* device = in.device();
    const qint64 start = device->pos();
    QByteArray png;
    QSize size;
    switch (walk_png(device, png, size)) {
    case png_walk::complete: {
        if (known)
            for (const png_picture& seen : *known)
                if (seen.png() == png) {
                    picture = seen;
                    return picture_read::decoded;
                }
        bool refused = false;
        picture = png_picture::decode(png, &refused, pixel_budget);
        return refused ? picture_read::refused : picture_read::decoded;
    }
    case png_walk::too_big:
        return picture_read::refused;
    case png_walk::broken:
        break;
    }
    if (skip_to_png_end(device, start))
        return picture_read::refused;
    in.setStatus(QDataStream::ReadPastEnd);
    return picture_read::broken;
}

namespace {

enum class field_read { read, damaged, unknown };

// ----- Tagged fields: what version 6 records carry beyond their fixed
// fields. Each tag's bytes are a QDataStream of their own, so a field is
// read whole or not at all and never moves the record's stream.
namespace record_tag {
// An attribute button's widget: u8 widget, then for each plug f64 minimum
// and f64 maximum.
constexpr quint32 attribute = 1;
// The button's picture: its PNG bytes, nothing else.
constexpr quint32 picture = 2;
} // namespace record_tag

// A big-endian IEEE double, as QDataStream writes one.
double f64_at(const char* at)
{
    const quint64 bits = qFromBigEndian<quint64>(at);
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

void append_f64(QByteArray& out, double v)
{
    quint64 bits;
    std::memcpy(&bits, &v, sizeof bits);
    char be[8];
    qToBigEndian(bits, be);
    out.append(be, 8);
}

// Read by hand: a stream of its own for each of hundreds of sliders would
// cost more than the rest of their records.
field_read read_attribute_field(const QByteArray& bytes, buttonAttributes& a)
{
    if (bytes.isEmpty() || quint8(bytes[0]) >= attribute_widget_count)
        return field_read::damaged;
    a.widget = quint8(bytes[0]);
    const int plugs = widget_plugs(a.widget);
    if (bytes.size() != 1 + 16 * plugs || a.kind != attribute_kind || a.names.size() != plugs)
        return field_read::damaged;
    for (int i = 0; i < plugs; ++i) {
        // No text form keeps the sign of a zero.
        a.minimum[i] = f64_at(bytes.constData() + 1 + 16 * i) + 0.0;
        a.maximum[i] = f64_at(bytes.constData() + 9 + 16 * i) + 0.0;
        if (!usable_range(a.minimum[i], a.maximum[i]))
            return field_read::damaged;
    }
    for (const QString& plug : std::as_const(a.names))
        if (!is_plug_name(plug))
            return field_read::damaged;
    return field_read::read;
}

struct tagged_field {
    quint32 tag = 0;
    QByteArray bytes;
};

// The fields a record of these attributes carries, by rising tag.
QVector<tagged_field> record_fields(const buttonAttributes& a)
{
    QVector<tagged_field> fields;
    if (a.kind == attribute_kind) {
        tagged_field f{record_tag::attribute, QByteArray(1, char(a.widget))};
        for (int i = 0; i < widget_plugs(a.widget); ++i) {
            append_f64(f.bytes, a.minimum[i]);
            append_f64(f.bytes, a.maximum[i]);
        }
        fields << f;
    }
    if (!a.picture.isNull())
        fields.append({record_tag::picture, a.picture.png()});
    return fields;
}

// The bytes met before are the same picture, decoded once.
field_read read_picture_field(const QByteArray& bytes, picture_pool& pool, png_picture& picture)
{
    const auto seen = pool.seen.constFind(bytes);
    if (seen != pool.seen.constEnd()) {
        picture = seen.value();
        return field_read::read;
    }
    if (button_picture_from_png(bytes, picture, nullptr, &pool.pixel_budget) != png_check::ok)
        return field_read::damaged;
    pool.seen.insert(picture.png(), picture);
    return field_read::read;
}

field_read read_record_field(quint32 tag, const QByteArray& bytes, buttonAttributes& a, picture_pool& pool)
{
    switch (tag) {
    case record_tag::attribute:
        return read_attribute_field(bytes, a);
    case record_tag::picture:
        // Twice in one record: no writer does that.
        if (!a.picture.isNull())
            return field_read::damaged;
        return read_picture_field(bytes, pool, a.picture);
    default:
        return field_read::unknown;
    }
}

} // namespace

void write_button_record(QDataStream& out, qint32 index, const buttonAttributes& a)
{
    out << index << a.pos << a.size << a.width << a.height << a.kind << a.language
        << a.color << a.labelColor << a.label << qint32(a.names.size());
    for (const QString& name : a.names)
        out << name;
    out << quint8(a.shape);
    if (a.shape == qint32(button_shape::polygon)) {
        out << qint32(a.points.size());
        for (const QPoint& p : a.points)
            out << qint32(p.x()) << qint32(p.y());
    }
    const QVector<tagged_field> fields = record_fields(a);
    out << quint32(fields.size());
    for (const tagged_field& f : fields) {
        out << f.tag << quint32(f.bytes.size());
        out.writeRawData(f.bytes.constData(), f.bytes.size());
    }
}

namespace {

// The shape and tagged fields of a version-6 record. False when they are
// damaged; the stream fails where they cannot be passed over.
bool read_record_tail(QDataStream& in, buttonAttributes& a, bool* newer, picture_pool& pool)
{
    quint8 shape = 0;
    in >> shape;
    bool valid = shape < button_shape_count;
    a.shape = valid ? qint32(shape) : 0;
    if (shape == quint8(button_shape::polygon)) {
        qint32 count = 0;
        in >> count;
        if (!stream_ok(in))
            return false;
        // Too many points to be a picker's: nothing tells where the record
        // ends, so the list ends here.
        if (count < 0 || count > limits::max_polygon_points) {
            in.setStatus(QDataStream::ReadCorruptData);
            return false;
        }
        valid = valid && count >= limits::min_polygon_points;
        for (qint32 i = 0; i < count && stream_ok(in); ++i) {
            qint32 x = 0, y = 0;
            in >> x >> y;
            // Relative to a centre within the limit, so twice the limit.
            const qint32 most = 2 * limits::max_coordinate;
            valid = valid && x >= -most && x <= most && y >= -most && y <= most;
            a.points.append(QPoint(x, y));
        }
    }
    quint32 fields = 0;
    in >> fields;
    if (!stream_ok(in))
        return false;
    if (fields > quint32(limits::max_record_fields)) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    quint32 seen = 0;
    for (quint32 i = 0; i < fields; ++i) {
        quint32 tag = 0, bytes = 0;
        in >> tag >> bytes;
        if (!stream_ok(in))
            return false;
        if (bytes > quint64(limits::max_record_field_bytes)) {
            in.setStatus(QDataStream::ReadCorruptData);
            return false;
        }
        QByteArray field_bytes;
        if (!read_exactly(in, bytes, field_bytes))
            return false;
        // A tag given twice would leave the record meaning either.
        if (tag < 32 && (seen & (1u << tag)))
            valid = false;
        if (tag < 32)
            seen |= 1u << tag;
        switch (read_record_field(tag, field_bytes, a, pool)) {
        case field_read::read:
            break;
        case field_read::damaged:
            valid = false;
            break;
        case field_read::unknown:
            // Whatever it holds, reading the rest without it would lose it
            // on the next save.
            if (newer)
                *newer = true;
            in.setStatus(QDataStream::ReadCorruptData);
            return false;
        }
    }
    // An attribute button is nothing without its widget.
    if (a.kind == attribute_kind && !(seen & (1u << record_tag::attribute)))
        valid = false;
    if (!valid) {
        a.points.clear();
        a.picture = png_picture();
    }
    return valid;
}

} // namespace

bool read_button_record(QDataStream& in, int version, qint32 index, buttonAttributes& a, bool* over_limit,
                        bool* newer, picture_pool* pool)
{
    picture_pool own;
    if (!pool)
        pool = &own;
    a.shape = 0;
    a.points.clear();
    a.widget = 0;
    a.minimum[0] = a.minimum[1] = 0;
    a.maximum[0] = a.maximum[1] = 1;
    a.picture = png_picture();
    qint32 read_index = 0;
    in >> read_index >> a.pos >> a.size;
    if (version >= 5) {
        in >> a.width >> a.height;
    } else {
        a.width = a.size;
        a.height = a.size;
    }
    clamp_geometry(a);
    // A damaged record is still read to its end so the next one stays in step.
    bool valid = read_index == index;
    if (version >= 2) {
        in >> a.kind >> a.language;
        // Attribute buttons came with version 6 and its tagged fields.
        valid = valid && (in_range(a.kind) || (version >= 6 && a.kind == attribute_kind)) && in_range(a.language);
    } else {
        a.kind = 0;
        a.language = 0;
    }
    in >> a.color;
    if (version >= 4)
        in >> a.labelColor;
    else
        a.labelColor = 0xffffff;
    qint32 name_count = 0;
    in >> a.label >> name_count;
    a.names.clear();
    if (name_count <= 0)
        valid = false;
    // More names than any button holds: the record is passed over, name by
    // name (each costs the bytes it has), and the next one read.
    if (name_count > limits::max_names) {
        if (over_limit)
            *over_limit = true;
        for (qint32 i = 0; i < name_count && stream_ok(in); ++i)
            skip_string(in);
        if (version >= 6 && stream_ok(in))
            read_record_tail(in, a, newer, *pool);
        return false;
    }
    for (qint32 i = 0; i < name_count && stream_ok(in); ++i) {
        QString name;
        in >> name;
        if (!stream_ok(in))
            break;
        // A name repeated (as a crafted file may hold one millions of times)
        // shares the text of the one before it instead of costing its own.
        if (!a.names.isEmpty() && a.names.constLast() == name && a.names.constLast().isNull() == name.isNull())
            a.names.append(a.names.constLast());
        else
            a.names.append(name);
    }
    if (version >= 6) {
        if (stream_ok(in))
            valid = read_record_tail(in, a, newer, *pool) && valid;
    } else {
        a.shape = legacy_shape(a.kind, a.names.size(), a.label);
    }
    return valid && stream_ok(in);
}

void write_button_list(QDataStream& out, const QList<buttonAttributes>& buttons)
{
    out << qint32(buttons.size());
    for (int j = 0; j < buttons.size(); ++j)
        write_button_record(out, j, buttons[j]);
}

button_list_read read_button_list(QDataStream& in, int version, qint32& budget,
                                  const std::function<void(const buttonAttributes&)>& accept, qint64* names_budget,
                                  picture_pool* pool)
{
    button_list_read result;
    if (!stream_ok(in)) {
        result.damaged = true;
        return result;
    }
    qint32 count = 0;
    in >> count;
    if (!stream_ok(in) || count < 1) {
        result.declared = stream_ok(in) ? count : 0;
        result.damaged = !stream_ok(in) || count < 0;
        return result;
    }
    return read_records(
        in, version, count, budget,
        [&accept](const buttonAttributes& a) {
            if (accept)
                accept(a);
        },
        names_budget, pool);
}

int read_button_list(QDataStream& in, int version,
                     const std::function<void(const buttonAttributes&)>& accept)
{
    qint32 budget = limits::max_buttons;
    return read_button_list(in, version, budget, accept).accepted;
}

void writeButtonAttributes(QDataStream& out, const QList<buttonAttributes>& buttons)
{
    out << picker_format::payload_version << qint32(buttons.size());
    for (int j = 0; j < buttons.size(); ++j)
        write_button_record(out, j, buttons[j]);
}

QList<buttonAttributes> readButtonAttributes(QDataStream& in)
{
    QList<buttonAttributes> result;
    if (!stream_ok(in))
        return result;
    qint32 version = 0;
    qint32 count = 0;
    in >> version;
    if (!stream_ok(in) || version < 1 || version > picker_format::payload_version)
        return result;
    in >> count;
    if (!stream_ok(in) || count < 1)
        return result;
    qint32 budget = limits::max_buttons;
    qint64 names = limits::max_total_names;
    const button_list_read got = read_records(
        in, version == 1 ? 5 : 6, count, budget, [&result](const buttonAttributes& a) { result.append(a); }, &names,
        nullptr);
    if (got.newer)
        result.clear();
    return result;
}

void write_pkr_header(QDataStream& out, const pkr_header& header)
{
    out << header.version << header.name;
    if (header.version < 2)
        return;
    out << header.backgroundKey;
    if (!header.backgroundKey.isEmpty())
        out << header.background;
}

bool read_pkr_header(QDataStream& in, pkr_header& header, bool* image_refused)
{
    header.backgroundKey.clear();
    header.background = png_picture();
    if (image_refused)
        *image_refused = false;
    if (!stream_ok(in))
        return false;
    in >> header.version >> header.name;
    if (!stream_ok(in))
        return false;
    if (header.version < 2)
        return true;
    in >> header.backgroundKey;
    if (stream_ok(in) && !header.backgroundKey.isEmpty()) {
        const picture_read got = read_picture(in, header.background);
        if (image_refused)
            *image_refused = got == picture_read::refused;
    }
    return stream_ok(in);
}

void write_side_patterns(QDataStream& out, const QList<QStringList>& lists)
{
    out << picker_format::patterns_tag << qint32(lists.size());
    for (const QStringList& list : lists) {
        out << qint32(list.size());
        for (const QString& pattern : list)
            out << pattern;
    }
}

patterns_read read_side_patterns(QDataStream& in, QList<QStringList>& lists, qint32 most)
{
    lists.clear();
    if (!stream_ok(in) || in.atEnd())
        return patterns_read::absent;
    quint32 tag = 0;
    in >> tag;
    if (!stream_ok(in) || tag != picker_format::patterns_tag)
        return patterns_read::absent;
    qint32 count = 0;
    in >> count;
    if (!stream_ok(in) || count < 0 || count > most)
        return patterns_read::damaged;
    bool damaged = false;
    for (qint32 i = 0; i < count; ++i) {
        qint32 size = 0;
        in >> size;
        if (!stream_ok(in) || size < 0 || size > limits::max_side_patterns)
            return patterns_read::damaged;
        QStringList list;
        for (qint32 j = 0; j < size; ++j) {
            QString pattern;
            if (!read_short_string(in, limits::max_side_pattern_chars, pattern))
                return patterns_read::damaged;
            list.append(pattern);
        }
        if (!list.isEmpty() && !side_patterns::check(list).isEmpty()) {
            list.clear();
            damaged = true;
        }
        lists.append(list);
    }
    return damaged ? patterns_read::damaged : patterns_read::read;
}
