#include "model/scene_data.h"

#include "model/limits.h"
#include "model/picker_stream.h"
#include "model/safe_file.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QHash>
#include <QPair>
#include <QSet>
#include <QDataStream>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#ifdef QUILL_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

// A small inflater (RFC 1950/1951) that stops at a hard output cap. qUncompress
// trusts the length in front of the data and keeps doubling its buffer when
// that length lies, so a few kilobytes of scene text could claim gigabytes.
class inflater {
public:
    inflater(const QByteArray& in, qint64 cap) : in_(in), cap_(cap) {}

    // False when the data is not a complete zlib stream or inflates past the cap.
    bool run(QByteArray& out)
    {
        out_ = &out;
        if (in_.size() < 6)
            return false;
        const uchar cmf = uchar(in_[0]);
        const uchar flg = uchar(in_[1]);
        if ((cmf & 0x0f) != 8 || (cmf >> 4) > 7 || (flg & 0x20) || ((cmf << 8) | flg) % 31 != 0)
            return false;
        pos_ = 2;
        int last = 0;
        do {
            last = bits(1);
            const int type = bits(2);
            bool ok = false;
            if (type == 0)
                ok = stored();
            else if (type == 1)
                ok = fixed();
            else if (type == 2)
                ok = dynamic();
            if (!ok || failed_)
                return false;
        } while (!last);
        // The Adler-32 of the output follows, byte aligned.
        if (pos_ + 4 > in_.size())
            return false;
        quint32 stored_sum = 0;
        for (int i = 0; i < 4; ++i)
            stored_sum = (stored_sum << 8) | uchar(in_[pos_ + i]);
        return stored_sum == adler32(out);
    }

private:
    struct huffman {
        short count[16];
        short symbol[288];
    };

    int bits(int need)
    {
        quint32 value = bitbuf_;
        while (bitcnt_ < need) {
            if (pos_ >= in_.size()) {
                failed_ = true;
                return 0;
            }
            value |= quint32(uchar(in_[pos_++])) << bitcnt_;
            bitcnt_ += 8;
        }
        bitbuf_ = value >> need;
        bitcnt_ -= need;
        return int(value & ((1u << need) - 1));
    }

    bool put(char c)
    {
        if (out_->size() >= cap_)
            return false;
        out_->append(c);
        return true;
    }

    bool stored()
    {
        bitbuf_ = 0;
        bitcnt_ = 0;
        if (pos_ + 4 > in_.size())
            return false;
        const int len = uchar(in_[pos_]) | (uchar(in_[pos_ + 1]) << 8);
        const int nlen = uchar(in_[pos_ + 2]) | (uchar(in_[pos_ + 3]) << 8);
        pos_ += 4;
        if (len != (~nlen & 0xffff) || pos_ + len > in_.size() || out_->size() + len > cap_)
            return false;
        out_->append(in_.constData() + pos_, len);
        pos_ += len;
        return true;
    }

    int decode(const huffman& h)
    {
        int code = 0, first = 0, index = 0;
        for (int len = 1; len < 16; ++len) {
            code |= bits(1);
            if (failed_)
                return -1;
            const int count = h.count[len];
            if (code - count < first)
                return h.symbol[index + (code - first)];
            index += count;
            first += count;
            first <<= 1;
            code <<= 1;
        }
        return -1;
    }

    // Negative: over-subscribed; positive: incomplete; zero: complete.
    static int construct(huffman& h, const short* length, int n)
    {
        std::fill(std::begin(h.count), std::end(h.count), short(0));
        for (int s = 0; s < n; ++s)
            h.count[length[s]]++;
        if (h.count[0] == n)
            return 0;
        int left = 1;
        for (int len = 1; len < 16; ++len) {
            left <<= 1;
            left -= h.count[len];
            if (left < 0)
                return left;
        }
        short offs[16];
        offs[1] = 0;
        for (int len = 1; len < 15; ++len)
            offs[len + 1] = short(offs[len] + h.count[len]);
        for (int s = 0; s < n; ++s)
            if (length[s] != 0)
                h.symbol[offs[length[s]]++] = short(s);
        return left;
    }

    bool codes(const huffman& lencode, const huffman& distcode)
    {
        static const short lbase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                        31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const short lext[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                       2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        static const short dbase[30] = {1,   2,   3,   4,   5,   7,    9,    13,   17,   25,
                                        33,  49,  65,  97,  129, 193,  257,  385,  513,  769,
                                        1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
        static const short dext[30] = {0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6,
                                       6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};
        for (;;) {
            int symbol = decode(lencode);
            if (symbol < 0 || failed_)
                return false;
            if (symbol < 256) {
                if (!put(char(symbol)))
                    return false;
                continue;
            }
            if (symbol == 256)
                return true;
            symbol -= 257;
            if (symbol >= 29)
                return false;
            const int len = lbase[symbol] + bits(lext[symbol]);
            symbol = decode(distcode);
            if (symbol < 0 || symbol >= 30 || failed_)
                return false;
            const int dist = dbase[symbol] + bits(dext[symbol]);
            if (failed_ || dist > out_->size() || out_->size() + len > cap_)
                return false;
            // Byte by byte: the copy may overlap what it writes.
            for (int i = 0; i < len; ++i)
                out_->append(out_->at(out_->size() - dist));
        }
    }

    bool fixed()
    {
        static huffman lencode, distcode;
        static const bool built = [] {
            short lengths[288];
            int s = 0;
            for (; s < 144; ++s)
                lengths[s] = 8;
            for (; s < 256; ++s)
                lengths[s] = 9;
            for (; s < 280; ++s)
                lengths[s] = 7;
            for (; s < 288; ++s)
                lengths[s] = 8;
            construct(lencode, lengths, 288);
            for (s = 0; s < 30; ++s)
                lengths[s] = 5;
            construct(distcode, lengths, 30);
            return true;
        }();
        Q_UNUSED(built);
        return codes(lencode, distcode);
    }

    bool dynamic()
    {
        static const short order[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        const int nlen = bits(5) + 257;
        const int ndist = bits(5) + 1;
        const int ncode = bits(4) + 4;
        if (failed_ || nlen > 286 || ndist > 30)
            return false;
        short lengths[320] = {};
        for (int i = 0; i < ncode; ++i)
            lengths[order[i]] = short(bits(3));
        huffman lencode, distcode;
        if (failed_ || construct(lencode, lengths, 19) != 0)
            return false;
        int index = 0;
        while (index < nlen + ndist) {
            int symbol = decode(lencode);
            if (symbol < 0 || failed_)
                return false;
            if (symbol < 16) {
                lengths[index++] = short(symbol);
                continue;
            }
            short len = 0;
            if (symbol == 16) {
                if (index == 0)
                    return false;
                len = lengths[index - 1];
                symbol = 3 + bits(2);
            } else if (symbol == 17) {
                symbol = 3 + bits(3);
            } else {
                symbol = 11 + bits(7);
            }
            if (failed_ || index + symbol > nlen + ndist)
                return false;
            while (symbol--)
                lengths[index++] = len;
        }
        if (lengths[256] == 0)
            return false;
        int err = construct(lencode, lengths, nlen);
        if (err < 0 || (err > 0 && nlen - lencode.count[0] != 1))
            return false;
        err = construct(distcode, lengths + nlen, ndist);
        if (err < 0 || (err > 0 && ndist - distcode.count[0] != 1))
            return false;
        return codes(lencode, distcode);
    }

    static quint32 adler32(const QByteArray& data)
    {
        quint32 a = 1, b = 0;
        const auto* p = reinterpret_cast<const uchar*>(data.constData());
        qint64 left = data.size();
        while (left > 0) {
            const qint64 n = std::min<qint64>(left, 5552);
            for (qint64 i = 0; i < n; ++i) {
                a += *p++;
                b += a;
            }
            a %= 65521;
            b %= 65521;
            left -= n;
        }
        return (b << 16) | a;
    }

    const QByteArray& in_;
    const qint64 cap_;
    QByteArray* out_ = nullptr;
    int pos_ = 0;
    quint32 bitbuf_ = 0;
    int bitcnt_ = 0;
    bool failed_ = false;
};

// Base64 text longer than this cannot hold data within the limits.
qint64 max_text(qint64 bytes)
{
    return (bytes + bytes / 64 + 1024) / 3 * 4 + 8;
}

} // namespace

QByteArray encode_picker_data(const QByteArray& stream)
{
    return qCompress(stream, 9).toBase64();
}

#ifdef QUILL_HAVE_ZLIB
namespace {

// zlib's own inflate, which checks the Adler-32 too, stopped at `cap` bytes.
QByteArray inflate_capped(const QByteArray& in, int offset, qint64 first, qint64 cap)
{
    z_stream z{};
    if (inflateInit(&z) != Z_OK)
        return QByteArray();
    QByteArray out;
    out.resize(int(std::max<qint64>(first, 1)));
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.constData() + offset));
    z.avail_in = uInt(in.size() - offset);
    int result = Z_OK;
    while (result == Z_OK) {
        if (qint64(z.total_out) == out.size()) {
            // One byte past the cap lets zlib report a stream that ends
            // exactly there; anything that fills it is too long.
            if (out.size() > cap) {
                result = Z_DATA_ERROR;
                break;
            }
            out.resize(int(std::min<qint64>(cap + 1, qint64(out.size()) * 2)));
        }
        z.next_out = reinterpret_cast<Bytef*>(out.data() + z.total_out);
        z.avail_out = uInt(out.size() - qint64(z.total_out));
        result = inflate(&z, Z_NO_FLUSH);
        if (result == Z_BUF_ERROR && z.avail_out > 0)
            break; // the input ended early
    }
    const qint64 produced = qint64(z.total_out);
    inflateEnd(&z);
    if (result != Z_STREAM_END || produced > cap)
        return QByteArray();
    out.resize(int(produced));
    return out;
}

} // namespace
#endif

QByteArray decode_picker_data(const QByteArray& text)
{
    if (text.size() > max_text(limits::max_scene_data_bytes))
        return QByteArray();
    const QByteArray compressed = QByteArray::fromBase64(text);
    if (compressed.size() < 4)
        return QByteArray();
    const quint32 declared = (quint32(uchar(compressed[0])) << 24) | (quint32(uchar(compressed[1])) << 16)
                             | (quint32(uchar(compressed[2])) << 8) | quint32(uchar(compressed[3]));
    if (declared > limits::max_scene_data_bytes)
        return QByteArray();
    // zlib cannot expand more than about 1032 to 1, so a short text never
    // reserves what its declared length claims.
    const qint64 first = std::min<qint64>(declared, qint64(compressed.size()) * 1032 + 64);
    // The writer states the exact length, so data that inflates past it is
    // refused the moment it does.
#ifdef QUILL_HAVE_ZLIB
    return inflate_capped(compressed, 4, first, declared);
#else
    QByteArray out;
    out.reserve(int(first));
    if (!inflater(compressed.mid(4), declared).run(out))
        return QByteArray();
    return out;
#endif
}

QByteArray inflate_without_zlib(const QByteArray& zlib_stream, qint64 cap)
{
    QByteArray out;
    if (!inflater(zlib_stream, cap).run(out))
        return QByteArray();
    return out;
}

namespace {

// Standard base64 of `n` bytes, padded, into `out` ((n + 2) / 3 * 4 bytes).
void base64_into(const uchar* in, qint64 n, char* out)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    qint64 i = 0;
    for (; i + 3 <= n; i += 3, out += 4) {
        const quint32 v = quint32(in[i]) << 16 | quint32(in[i + 1]) << 8 | in[i + 2];
        out[0] = alphabet[v >> 18];
        out[1] = alphabet[(v >> 12) & 63];
        out[2] = alphabet[(v >> 6) & 63];
        out[3] = alphabet[v & 63];
    }
    if (i < n) {
        const quint32 v = quint32(in[i]) << 16 | (i + 1 < n ? quint32(in[i + 1]) << 8 : 0);
        out[0] = alphabet[v >> 18];
        out[1] = alphabet[(v >> 12) & 63];
        out[2] = i + 1 < n ? alphabet[(v >> 6) & 63] : '=';
        out[3] = '=';
    }
}

} // namespace

QByteArray encode_image(const png_picture& picture)
{
    // The stream's marker and the PNG as they are, encoded straight from the
    // picture's bytes: tens of megabytes are not copied together first.
    const QByteArray& png = picture.png();
    if (picture.isNull() || png.size() < 2) {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << picture;
        return bytes.toBase64();
    }
    // The marker and the PNG's first two bytes make whole groups of three.
    const uchar head[6] = {0, 0, 0, 1, uchar(png[0]), uchar(png[1])};
    const qint64 rest = png.size() - 2;
    QByteArray text(int(8 + (rest + 2) / 3 * 4), Qt::Uninitialized);
    base64_into(head, 6, text.data());
    base64_into(reinterpret_cast<const uchar*>(png.constData()) + 2, rest, text.data() + 8);
    return text;
}

png_picture decode_image(QByteArray text, bool* refused, qint64* pixel_budget)
{
    if (refused)
        *refused = false;
    if (text.size() > max_text(limits::max_image_bytes))
        return png_picture();
    // Decoded where the text lies: a picture's text and bytes are never
    // held at once.
    QByteArray bytes = QByteArray::fromBase64Encoding(std::move(text)).decoded;
    bytes.squeeze();
    if (bytes.isEmpty())
        return png_picture();
    // What the picker writes, the stream's marker and one whole PNG, is
    // decoded where it lies: four large pictures are not copied on the way in.
    static const char marker[4] = {0, 0, 0, 1};
    if (bytes.size() > 4 && std::memcmp(bytes.constData(), marker, 4) == 0 && png_is_whole(bytes, 4)) {
        bytes.remove(0, 4);
        return png_picture::decode(bytes, refused, pixel_budget);
    }
    // What encode_image wrote carries the stream's marker in front of the
    // PNG; plain PNG bytes read as a stream from before there was a marker.
    QDataStream in(bytes);
    QSize size;
    if (png_size(bytes, &size))
        in.setVersion(QDataStream::Qt_3_0);
    png_picture picture;
    const picture_read got = read_picture(in, picture, pixel_budget);
    if (refused)
        *refused = got == picture_read::refused;
    return got == picture_read::decoded ? picture : png_picture();
}

namespace {

quint32 little_endian(const QByteArray& b, int at, int bytes)
{
    quint32 v = 0;
    for (int i = bytes - 1; i >= 0; --i)
        v = v << 8 | quint8(b.at(at + i));
    return v;
}

// The sizes of the pictures an ICO or CUR file holds, each from its own
// header (a PNG's IHDR, a bitmap's info header), which is what the decoder
// allocates for: the directory says at most 256 and may lie. Empty when the
// bytes are no such file.
QVector<QSize> icon_sizes(const QByteArray& b)
{
    QVector<QSize> sizes;
    if (b.size() < 6 || little_endian(b, 0, 2) != 0 || (little_endian(b, 2, 2) != 1 && little_endian(b, 2, 2) != 2))
        return sizes;
    const int count = int(little_endian(b, 4, 2));
    if (count == 0 || b.size() < 6 + 16 * count)
        return sizes;
    for (int i = 0; i < count; ++i) {
        const int entry = 6 + 16 * i;
        const qint64 size = little_endian(b, entry + 8, 4), offset = little_endian(b, entry + 12, 4);
        if (offset + size > b.size() || size < 24)
            return {};
        const QByteArray head = b.mid(int(offset), 24);
        if (head.startsWith("\x89PNG\r\n\x1a\n")) {
            const auto be = [&head](int at) {
                return quint32(quint8(head[at])) << 24 | quint32(quint8(head[at + 1])) << 16
                     | quint32(quint8(head[at + 2])) << 8 | quint8(head[at + 3]);
            };
            sizes.append(QSize(int(std::min<quint32>(be(16), INT_MAX)), int(std::min<quint32>(be(20), INT_MAX))));
        } else {
            // A bitmap's height counts its mask too.
            const qint64 w = qint32(little_endian(head, 4, 4)), h = qint32(little_endian(head, 8, 4));
            sizes.append(QSize(int(std::min<qint64>(std::abs(w), INT_MAX)), int(std::min<qint64>(std::abs(h) / 2, INT_MAX))));
        }
    }
    return sizes;
}

} // namespace

QSize claimed_image_size(const QByteArray& text)
{
    // The marker, the PNG signature and the header chunk's length, name,
    // width and height: 28 bytes, 40 characters of base64.
    const QByteArray head = QByteArray::fromBase64(text.left(40));
    QSize size;
    if (png_size(head, &size) || png_size(head.mid(4), &size))
        return size;
    return QSize();
}

qint64 distinct_pixels(const QList<png_picture>& pictures)
{
    // By their bytes, as pictures are told apart; but bytes are compared
    // only between pictures of one size and length, and copies are known by
    // their key: thousands of buttons' icons cost a lookup each, and a
    // background of megabytes is never read through.
    qint64 pixels = 0;
    QSet<qint64> keys;
    QHash<QPair<qint64, qint64>, QVector<png_picture>> alike;
    for (const png_picture& p : pictures) {
        if (p.isNull() || keys.contains(p.key()))
            continue;
        keys.insert(p.key());
        QVector<png_picture>& same = alike[{qint64(p.width()) << 32 | p.height(), p.png().size()}];
        if (std::any_of(same.cbegin(), same.cend(), [&p](const png_picture& q) { return q == p; }))
            continue;
        same.append(p);
        pixels += qint64(p.width()) * p.height();
    }
    return pixels;
}

bool within_scene_budget(const QList<png_picture>& pictures)
{
    return distinct_pixels(pictures) <= limits::max_total_image_pixels;
}

QString scene_budget_exceeded()
{
    return QString("the scene's pictures would exceed %1 megapixels together (%2 pictures of %3 x %3)")
        .arg(double(limits::max_total_image_pixels) / 1e6, 0, 'f', 1)
        .arg(limits::max_total_image_pixels / limits::max_image_pixels)
        .arg(limits::image_square_side);
}

png_picture load_image_file(const QString& path, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return png_picture();
    };
    auto too_large = [&](const QSize& size) {
        return fail(QString("the image \"%1\" is %2 x %3 pixels; a background holds at most %4 x %4")
                        .arg(path).arg(size.width()).arg(size.height()).arg(limits::image_square_side));
    };
    const QString unreadable = QString("could not read the image \"%1\"").arg(path);
    const QFileInfo info(path);
    QFile file;
    QString why;
    if (open_regular_file(file, path, &why) != read_open::ok)
        return fail(unreadable + ": " + why);
    if (file.size() > limits::max_image_bytes)
        return fail(QString("the image \"%1\" is larger than %2 MB").arg(path).arg(limits::max_image_bytes >> 20));
    const QByteArray bytes = file.read(limits::max_image_bytes + 1);
    if (bytes.size() > limits::max_image_bytes)
        return fail(QString("the image \"%1\" is larger than %2 MB").arg(path).arg(limits::max_image_bytes >> 20));

    // A PNG is kept as the file holds it, so it must read back the way a
    // stored picture is read: nothing the readers would refuse gets in.
    png_picture picture;
    QSize size;
    switch (picture_from_png(bytes, picture, &size)) {
    case png_check::ok:
        return picture;
    case png_check::too_large:
        return size.isEmpty() ? fail(unreadable + ": it claims no pixels") : too_large(size);
    case png_check::damaged:
        return fail(unreadable + ": the PNG is cut short or damaged");
    case png_check::undecodable:
        return fail(unreadable + ": the PNG does not decode");
    case png_check::not_png:
        break;
    }

    // Known by its contents first, as a file named for another format may
    // be; the name tells only formats that carry no signature.
    QByteArray format;
    {
        QBuffer device;
        device.setData(bytes);
        device.open(QIODevice::ReadOnly);
        format = QImageReader::imageFormat(&device);
    }
    if (format.isEmpty())
        format = info.suffix().toLower().toLatin1();
    const auto outside = [](const QSize& s) {
        return s.width() > limits::max_image_side || s.height() > limits::max_image_side
            || qint64(s.width()) * s.height() > limits::max_image_pixels;
    };
    // Asked of a reader of its own: a handler that has told its size may
    // not read the picture after.
    {
        QBuffer device;
        device.setData(bytes);
        device.open(QIODevice::ReadOnly);
        QImageReader header(&device, format);
        if (!header.canRead())
            return fail(unreadable);
        size = header.size();
        if (!size.isValid())
            return fail(unreadable);
    }
    if (outside(size))
        return too_large(size);
    if (format == "ico" || format == "cur") {
        const QVector<QSize> held = icon_sizes(bytes);
        if (held.isEmpty())
            return fail(unreadable);
        for (const QSize& s : held)
            if (outside(s))
                return too_large(s);
    }
    QBuffer device;
    device.setData(bytes);
    device.open(QIODevice::ReadOnly);
    QImageReader reader(&device, format);
    const QImage image = reader.read();
    if (image.isNull())
        return fail(unreadable + ": " + reader.errorString());
    picture = png_picture::from_image(image);
    if (picture.isNull())
        return fail(unreadable + ": it cannot be stored as PNG");
    return picture;
}

png_picture load_button_picture(const QString& path, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return png_picture();
    };
    const QString unreadable = QString("could not read the picture \"%1\"").arg(path);
    QFile file;
    QString why;
    if (open_regular_file(file, path, &why) != read_open::ok)
        return fail(unreadable + ": " + why);
    const QString limit = QString("a button's picture is at most %1 x %1 pixels and %2 KB")
                              .arg(limits::max_button_picture_side)
                              .arg(limits::max_record_field_bytes >> 10);
    // One byte past the limit tells a file over it without reading it all.
    const QByteArray bytes = file.read(limits::max_record_field_bytes + 1);
    if (bytes.size() > limits::max_record_field_bytes)
        return fail(QString("the picture \"%1\" is too large: %2").arg(path, limit));
    png_picture picture;
    QSize size;
    switch (button_picture_from_png(bytes, picture, &size)) {
    case png_check::ok:
        return picture;
    case png_check::not_png:
        return fail(QString("the picture \"%1\" is not a PNG image").arg(path));
    case png_check::too_large:
        return fail(QString("the picture \"%1\" is %2 x %3 pixels: %4")
                        .arg(path).arg(size.width()).arg(size.height()).arg(limit));
    case png_check::damaged:
        return fail(unreadable + ": the PNG is cut short or damaged");
    case png_check::undecodable:
        break;
    }
    return fail(unreadable + ": the PNG does not decode");
}

bool is_background_key(const QString& key)
{
    // A qint64 in decimal: at most 19 digits after an optional minus.
    int start = key.startsWith('-') ? 1 : 0;
    int digits = key.size() - start;
    if (digits < 1 || digits > 19)
        return false;
    for (int i = start; i < key.size(); ++i)
        if (key[i] < '0' || key[i] > '9')
            return false;
    return true;
}
