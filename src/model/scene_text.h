// The scene's picker data text built from pieces compressed on their own, so
// that an edit recompresses only the pieces it changed.
//
// Each piece is a raw deflate stream ended by a full flush (byte-aligned,
// no final block) and padded with empty stored blocks to a multiple of three
// bytes, so the base64 texts of the pieces simply concatenate. The whole is
// what qUncompress reads: Qt's 4-byte length, a zlib header, the pieces, an
// empty final block and the Adler-32 of everything, combined from the
// pieces' own sums.
#pragma once

#include <QByteArray>
#include <QVector>

struct deflate_piece {
    QByteArray raw;   // the uncompressed bytes; kept to tell whether the piece changed
    QByteArray text;  // base64 of the compressed piece
    quint32 adler = 1;
    bool empty() const { return raw.isEmpty(); }
};

// True when this build can compress in pieces; without it the scene text
// comes from one qCompress of the whole stream.
bool scene_pieces_available();

// Compresses `raw` into a piece (level: zlib's 0..9).
deflate_piece make_piece(const QByteArray& raw, int level);
// Makes the piece again only when its bytes changed. True when it did.
bool refresh_piece(deflate_piece& piece, const QByteArray& raw, int level);

// The scene text (base64 of qCompress-compatible bytes) of the pieces' raw
// bytes in order.
QByteArray join_pieces(const QVector<deflate_piece>& pieces);
