// A button's label: its size in picker units, measured when the button is
// laid out, and its text drawn crisp at whatever size a view shows the button,
// the first time it is shown so. Loading thousands of buttons measures their
// labels but draws none of them. Copies share one label, so undo snapshots
// and repeated labels cost nothing.
#pragma once

#include <QFont>
#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

struct label_art;

class label_picture {
public:
    label_picture() = default;
    // The text in the colour (alpha ignored) and font, taking this size in
    // picker units. An empty size gives a null label.
    label_picture(const QString& text, const QFont& font, quint32 color, const QSize& size);

    // Answered without drawing.
    bool isNull() const { return !art_; }
    QSize size() const;
    int width() const { return size().width(); }
    int height() const { return size().height(); }
    quint32 color() const;
    const QString& text() const;
    // Whether it was ever drawn.
    bool isRendered() const;

    // The label as shown on a button of `box` widget pixels at this zoom,
    // `density` device pixels a widget pixel: the text at its zoomed size,
    // shrunk and then elided where it would not fit inside the box, with a
    // thin halo of the opposite shade so that it reads on any fill. A
    // premultiplied picture whose size is a whole number of widget pixels,
    // at most the box less a pixel on every side, with that density; null
    // when no readable text fits.
    // Kept for the last few sizes asked.
    const QImage& drawn_at(const QSize& box, double zoom, int density) const;

    // Identifies the label: equal for copies, different for any other.
    const void* id() const { return art_.get(); }

    // A handle that does not keep the label alive, for caches that share
    // labels between buttons; null once every button let go of it.
    using weak_handle = std::weak_ptr<label_art>;
    weak_handle weak() const { return art_; }
    static label_picture from(const weak_handle& handle);

private:
    std::shared_ptr<label_art> art_;
};

// The font labels are measured in (a 16 pixel line at zoom 1); they are
// drawn in its family at the zoomed size.
QFont label_font();

// Text smaller than this many pixels (of the device, per unit of density)
// cannot be read: such labels are not drawn.
constexpr int smallest_label_pixels = 6;

// How a label text is laid out: the text as shown (cut and elided when too
// long) and its size in picker units.
struct label_layout {
    QString shown;
    QSize size;
};

// The label a button shows for its text and colour, and its size, without
// drawing it. Labels repeat across buttons and files, so each text is
// measured once (the cache is bounded); buttons with the same text and colour
// share one label.
label_picture label_picture_for(const QString& label, quint32 color, QSize* size);
