#include "model/picker_stream.h"

// Readers never trust a count: every loop stops at the first stream error, and
// each pass consumes bytes, so a damaged count costs at most the bytes that
// are really there. Nothing is reserved from a count.

namespace {

bool stream_ok(const QDataStream& in)
{
    return in.status() == QDataStream::Ok;
}

bool in_range(qint32 v)
{
    return v == 0 || v == 1;
}

template <typename T>
int read_records(QDataStream& in, int version, qint32 count, T&& accept)
{
    int accepted = 0;
    buttonAttributes a;
    for (qint32 j = 0; j < count; ++j) {
        const bool valid = read_button_record(in, version, j, a);
        if (!stream_ok(in))
            break;
        if (valid) {
            accept(a);
            ++accepted;
        }
    }
    return accepted;
}

} // namespace

void write_button_record(QDataStream& out, qint32 index, const buttonAttributes& a)
{
    out << index << a.pos << a.size << a.width << a.height << a.kind << a.language
        << a.color << a.labelColor << a.label << qint32(a.names.size());
    for (const QString& name : a.names)
        out << name;
}

bool read_button_record(QDataStream& in, int version, qint32 index, buttonAttributes& a)
{
    qint32 read_index = 0;
    in >> read_index >> a.pos >> a.size;
    if (version >= 5) {
        in >> a.width >> a.height;
    } else {
        a.width = a.size;
        a.height = a.size;
    }
    // A damaged record is still read to its end so the next one stays in step.
    bool valid = read_index == index;
    if (version >= 2) {
        in >> a.kind >> a.language;
        valid = valid && in_range(a.kind) && in_range(a.language);
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
    for (qint32 i = 0; i < name_count && stream_ok(in); ++i) {
        QString name;
        in >> name;
        if (!stream_ok(in))
            break;
        a.names.append(name);
    }
    return valid && stream_ok(in);
}

void write_button_list(QDataStream& out, const QList<buttonAttributes>& buttons)
{
    out << qint32(buttons.size());
    for (int j = 0; j < buttons.size(); ++j)
        write_button_record(out, j, buttons[j]);
}

int read_button_list(QDataStream& in, int version,
                     const std::function<void(const buttonAttributes&)>& accept)
{
    if (!stream_ok(in))
        return 0;
    qint32 count = 0;
    in >> count;
    if (!stream_ok(in) || count < 1)
        return 0;
    return read_records(in, version, count, [&accept](const buttonAttributes& a) {
        if (accept)
            accept(a);
    });
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
    if (!stream_ok(in) || version != picker_format::payload_version)
        return result;
    in >> count;
    if (!stream_ok(in) || count < 1)
        return result;
    read_records(in, picker_format::current_version, count,
                 [&result](const buttonAttributes& a) { result.append(a); });
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

bool read_pkr_header(QDataStream& in, pkr_header& header)
{
    header.backgroundKey.clear();
    header.background = QPixmap();
    if (!stream_ok(in))
        return false;
    in >> header.version >> header.name;
    if (!stream_ok(in))
        return false;
    if (header.version < 2)
        return true;
    in >> header.backgroundKey;
    if (stream_ok(in) && !header.backgroundKey.isEmpty())
        in >> header.background;
    return stream_ok(in);
}
