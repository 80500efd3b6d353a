#include "model/scene_text.h"

#ifdef QUILL_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

// An empty stored block at a byte boundary: header bits 000, LEN 0, NLEN ~0.
const char empty_stored_block[5] = {0x00, 0x00, 0x00, char(0xff), char(0xff)};

void append_be32(QByteArray& out, quint32 v)
{
    out.append(char(v >> 24)).append(char(v >> 16)).append(char(v >> 8)).append(char(v));
}

} // namespace

#ifdef QUILL_HAVE_ZLIB

bool scene_pieces_available()
{
    return true;
}

deflate_piece make_piece(const QByteArray& raw, int level)
{
    deflate_piece piece;
    piece.raw = raw;
    piece.adler = quint32(adler32(1, reinterpret_cast<const Bytef*>(raw.constData()), uInt(raw.size())));
    QByteArray out;
    z_stream z{};
    // Raw deflate (no header or sum of its own): the pieces share one header.
    if (deflateInit2(&z, level, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        return piece;
    out.resize(int(deflateBound(&z, uLong(raw.size()))) + 64);
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(raw.constData()));
    z.avail_in = uInt(raw.size());
    int used = 0;
    // A flush is complete when it leaves room in the output.
    do {
        if (used == out.size())
            out.resize(out.size() * 2);
        z.next_out = reinterpret_cast<Bytef*>(out.data() + used);
        z.avail_out = uInt(out.size() - used);
        deflate(&z, Z_FULL_FLUSH);
        used = out.size() - int(z.avail_out);
    } while (z.avail_out == 0);
    out.resize(used);
    deflateEnd(&z);
    // Empty stored blocks (5 bytes, 2 mod 3) bring the length to a multiple of 3.
    const int rest = out.size() % 3;
    for (int i = 0; i < (rest == 1 ? 1 : rest == 2 ? 2 : 0); ++i)
        out.append(empty_stored_block, 5);
    piece.text = out.toBase64();
    return piece;
}

QByteArray join_pieces(const QVector<deflate_piece>& pieces)
{
    quint64 total = 0;
    uLong sum = 1;
    int length = 16;
    for (const deflate_piece& p : pieces) {
        sum = adler32_combine(sum, p.adler, z_off_t(p.raw.size()));
        total += quint64(p.raw.size());
        length += p.text.size();
    }
    QByteArray head;
    append_be32(head, quint32(total));
    head.append(char(0x78)).append(char(0xda)); // zlib header: deflate, 32K window
    QByteArray tail;
    tail.append(char(0x03)).append(char(0x00)); // an empty final block
    append_be32(tail, quint32(sum));
    QByteArray text;
    text.reserve(length);
    text += head.toBase64();
    for (const deflate_piece& p : pieces)
        text += p.text;
    text += tail.toBase64();
    return text;
}

#else

bool scene_pieces_available()
{
    return false;
}

deflate_piece make_piece(const QByteArray& raw, int)
{
    deflate_piece piece;
    piece.raw = raw;
    return piece;
}

QByteArray join_pieces(const QVector<deflate_piece>& pieces)
{
    QByteArray all;
    for (const deflate_piece& p : pieces)
        all += p.raw;
    return qCompress(all, 9).toBase64();
}

#endif

bool refresh_piece(deflate_piece& piece, const QByteArray& raw, int level)
{
    if (!piece.raw.isNull() && piece.raw == raw)
        return false;
    piece = make_piece(raw, level);
    return true;
}
