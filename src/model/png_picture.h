// A background picture: the PNG bytes it is stored as, and the image decoded
// from them for display. A picture read from a file or a stream keeps the
// bytes it was read from, so writing it back is a copy and never a new
// encode; only pixels that come without PNG bytes are ever encoded.
//
// Decoded pixels cost three times what the bytes of a photo do, so all the
// pictures of the process together keep at most two whole pictures' pixels
// decoded: those used least recently are let go and decoded again from
// their bytes when next shown. Pictures are used from one thread.
#pragma once

#include "model/limits.h"

#include <QByteArray>
#include <QDataStream>
#include <QImage>
#include <QRect>
#include <QSize>

#include <memory>

class QIODevice;

class png_picture {
public:
    png_picture() = default; // null: no picture

    // Whole PNG bytes (one PNG, nothing after its end chunk), decoded once
    // here to prove them. The size is checked from the header before
    // anything is decoded, and must be within the limits and within
    // `pixel_budget`, which then shrinks by the picture's pixels. Null, with
    // *refused set, when it is not or when the bytes do not decode to the
    // size they claim.
    static png_picture decode(const QByteArray& png, bool* refused = nullptr, qint64* pixel_budget = nullptr);
    // Pixels that come without PNG bytes (a JPEG's, a drawn image), encoded
    // to PNG once, here, with a fast setting. Null for a null image.
    static png_picture from_image(const QImage& image);

    bool isNull() const { return !d_; }
    // Tells pictures apart: copies share it, no other picture made in this
    // process has it. 0 for null. New background keys are made from it.
    qint64 key() const;
    // The pixels in a format painted without conversion (RGB32, or
    // premultiplied ARGB32 when the picture has alpha), decoded again when
    // they were let go.
    QImage image() const;
    // The PNG bytes the picture is stored as; empty when null.
    const QByteArray& png() const;
    QSize size() const;
    int width() const { return size().width(); }
    int height() const { return size().height(); }
    QRect rect() const { return QRect(QPoint(0, 0), size()); }

    // The same picture: a copy, or one stored as the same bytes.
    bool operator==(const png_picture& other) const;
    bool operator!=(const png_picture& other) const { return !(*this == other); }

    // Pixels of all pictures kept decoded at most.
    static constexpr qint64 decoded_pixel_budget = 2 * limits::max_image_pixels;
    // Pixels kept decoded now, for measuring.
    static qint64 decoded_pixels();

private:
    struct shared;
    std::shared_ptr<shared> d_;
};

// What QDataStream writes for a pixmap: a qint32 marker (0 for null, 1 for
// an image; from stream version 5 on), then the PNG bytes as they are.
QDataStream& operator<<(QDataStream& out, const png_picture& picture);

// One PNG read from a device chunk by chunk up to IEND: its bytes in `png`
// (the device is left after the end chunk), and `size` what its header
// claims. too_big: more bytes than an image may hold (dropped as they were
// read); broken: no PNG signature, a first chunk other than IHDR, a chunk
// length past 2 GB or the device ending first.
enum class png_walk { complete, too_big, broken };
png_walk walk_png(QIODevice* device, QByteArray& png, QSize& size);
// The width and height a PNG's header claims; false when `png` does not
// start like a PNG.
bool png_size(const QByteArray& png, QSize* size);
// Whether the bytes from `offset` on are exactly one PNG that walk_png
// would read whole: IHDR first, chunks up to IEND and nothing after, within
// the image byte limit. Only the chunk heads are looked at, so a picture
// can be decoded where it lies instead of copied first.
bool png_is_whole(const QByteArray& bytes, int offset = 0);

// PNG bytes on their own (a picture file's, a JSON picture's), read the way
// a stream's picture is read: walked to IEND (whatever follows is dropped),
// size checked, then decoded once. `size`, when given, gets the size the
// header claims.
enum class png_check { ok, not_png, damaged, too_large, undecodable };
png_check picture_from_png(const QByteArray& bytes, png_picture& picture, QSize* size = nullptr);

// A button's picture from the bytes it is stored as, kept as they are: one
// whole PNG with nothing after its end chunk, at most
// limits::max_record_field_bytes, and at most limits::max_button_picture_side
// a side by its header before anything is decoded. `pixel_budget` as for
// png_picture::decode; a picture past it is too_large.
png_check button_picture_from_png(const QByteArray& bytes, png_picture& picture, QSize* size = nullptr,
                                  qint64* pixel_budget = nullptr);
