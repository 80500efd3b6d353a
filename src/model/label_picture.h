// A button's label picture, drawn the first time someone looks at it: loading
// thousands of buttons lays out their labels' sizes but draws none of them.
// Copies share one picture, so undo snapshots and repeated labels cost nothing.
#pragma once

#include <QFont>
#include <QPixmap>
#include <QSize>
#include <QString>

#include <memory>

class QPainter;
struct label_art;

class label_picture {
public:
    label_picture() = default;
    // What to draw: the text centred in a transparent picture of this size,
    // in the colour (alpha ignored) and font. An empty size gives a null picture.
    label_picture(const QString& text, const QFont& font, quint32 color, const QSize& size);

    // Answered without drawing.
    bool isNull() const { return !art_; }
    QSize size() const;
    int width() const { return size().width(); }
    int height() const { return size().height(); }
    quint32 color() const;
    const QString& text() const;
    bool isRendered() const;

    // The picture itself; drawn on the first call.
    const QPixmap& pixmap() const;
    // Draws the label into a target rectangle: the picture where it is not
    // enlarged, else the text itself, scaled, so that it stays sharp.
    void draw(QPainter& painter, const QRectF& target) const;
    operator const QPixmap&() const { return pixmap(); }
    // What draw() lays over a target of this size at whole pixels on a
    // plain picture, as a premultiplied picture of that size, kept until
    // another size is asked for; drawn with the painter's hints.
    const QImage& picture_at(const QSize& target, int hints) const;

    // Identifies the picture: equal for copies, different for any other.
    const void* id() const { return art_.get(); }

    // A handle that does not keep the picture alive, for caches that share
    // pictures between buttons; null once every button let go of it.
    using weak_handle = std::weak_ptr<label_art>;
    weak_handle weak() const { return art_; }
    static label_picture from(const weak_handle& handle);

private:
    std::shared_ptr<label_art> art_;
};

// The one font labels are drawn in; they are scaled when painted.
QFont label_font();

// How a label text is laid out: the text as shown (cut and elided when too
// long) and the size of its picture.
struct label_layout {
    QString shown;
    QSize size;
};

// The picture a button shows for its label text and colour, and its size,
// without drawing it. Labels repeat across buttons and files, so each text is
// measured once (the cache is bounded); buttons with the same text and colour
// share one picture.
label_picture label_picture_for(const QString& label, quint32 color, QSize* size);
