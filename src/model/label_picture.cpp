#include "model/label_picture.h"

#include "model/limits.h"

#include <QColor>
#include <QFontMetrics>
#include <QHash>
#include <QImage>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

struct label_art {
    QString text;
    QFont font;
    quint32 color = 0;
    QSize size;
    QPixmap pixmap;
    bool rendered = false;
};

label_picture::label_picture(const QString& text, const QFont& font, quint32 color, const QSize& size)
{
    if (size.isEmpty())
        return;
    art_ = std::make_shared<label_art>();
    art_->text = text;
    art_->font = font;
    art_->color = color;
    art_->size = size;
}

QSize label_picture::size() const
{
    return art_ ? art_->size : QSize();
}

quint32 label_picture::color() const
{
    return art_ ? art_->color : 0;
}

const QString& label_picture::text() const
{
    static const QString none;
    return art_ ? art_->text : none;
}

bool label_picture::isRendered() const
{
    return art_ && art_->rendered;
}

const QPixmap& label_picture::pixmap() const
{
    static const QPixmap none;
    if (!art_)
        return none;
    if (!art_->rendered) {
        art_->rendered = true;
        QImage image(art_->size, QImage::Format_ARGB32);
        image.fill(0);
        QPainter painter;
        // A painter that cannot begin leaves the picture transparent.
        if (painter.begin(&image)) {
            painter.setFont(art_->font);
            painter.setBrush(Qt::black);
            painter.setPen(QColor(QRgb(art_->color)));
            painter.drawText(QRect(QPoint(0, 0), art_->size), Qt::AlignCenter, art_->text);
            painter.end();
        }
        art_->pixmap = QPixmap::fromImage(std::move(image));
    }
    return art_->pixmap;
}

void label_picture::draw(QPainter& painter, const QRectF& target) const
{
    if (!art_)
        return;
    const QSizeF size(art_->size);
    // In device pixels: a high-density screen enlarges the picture too.
    const QTransform& device = painter.deviceTransform();
    const qreal density = std::max(std::hypot(device.m11(), device.m12()), std::hypot(device.m21(), device.m22()));
    if (target.width() * density <= size.width() && target.height() * density <= size.height()) {
        painter.drawPixmap(target, pixmap(), QRectF(QPointF(0, 0), size));
        return;
    }
    // Enlarging the picture would enlarge its pixels: the text is laid out
    // as in the picture and drawn through the scale instead, smoothed.
    painter.save();
    painter.translate(target.topLeft());
    painter.scale(target.width() / size.width(), target.height() / size.height());
    QFont font = art_->font;
    font.setStyleStrategy(QFont::PreferAntialias);
    painter.setFont(font);
    painter.setPen(QColor(QRgb(art_->color)));
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.drawText(QRectF(QPointF(0, 0), size), Qt::AlignCenter, art_->text);
    painter.restore();
}

label_picture label_picture::from(const weak_handle& handle)
{
    label_picture picture;
    picture.art_ = handle.lock();
    return picture;
}

namespace {

// Enough for every label of a crowd of characters; past it the cache starts
// over rather than grow with every text ever seen.
const int max_cached_labels = 65536;

struct measured_label {
    label_layout layout;
    label_picture::weak_handle picture; // the last one made for this text
};

QHash<QString, measured_label>& measured()
{
    static QHash<QString, measured_label> cache;
    return cache;
}

label_layout lay_out(const QString& label, const QFontMetrics& metrics)
{
    // Only the start of a long label can ever fit the picture, so no more of
    // it is laid out; what does not fit is elided.
    QString shown = label;
    if (shown.size() > limits::max_label_chars) {
        int keep = limits::max_label_chars;
        if (shown.at(keep - 1).isHighSurrogate())
            --keep;
        shown.truncate(keep);
    }
    const int widest = limits::max_label_width - 4;
    QRect text = metrics.boundingRect(shown);
    if (text.width() > widest || shown.size() < label.size()) {
        shown = metrics.elidedText(shown, Qt::ElideRight, widest);
        text = metrics.boundingRect(shown);
    }
    QSize size(std::min(text.width(), widest), std::min(text.height(), limits::max_label_height));
    if (size.width() % 2)
        size.rwidth() += 1;
    if (size.height() % 2)
        size.rheight() += 1;
    size.rwidth() += 2;
    return {shown, size};
}

} // namespace

QFont label_font()
{
    QFont font("Tahoma", -1, -1, false);
    font.setPixelSize(16);
    font.setStyleStrategy(QFont::NoAntialias);
    return font;
}

static const QFontMetrics& label_metrics()
{
    static const QFontMetrics metrics(label_font());
    return metrics;
}

label_picture label_picture_for(const QString& label, quint32 color, QSize* size)
{
    if (label.size() > limits::max_label_chars) {
        label_layout layout = lay_out(label, label_metrics());
        *size = layout.size;
        return label_picture(layout.shown, label_font(), color, layout.size);
    }
    auto& cache = measured();
    auto it = cache.find(label);
    if (it == cache.end()) {
        if (cache.size() >= max_cached_labels)
            cache.clear();
        it = cache.insert(label, measured_label{lay_out(label, label_metrics()), {}});
    }
    *size = it->layout.size;
    label_picture picture = label_picture::from(it->picture);
    if (picture.isNull() || picture.color() != color) {
        static const QFont font = label_font();
        picture = label_picture(it->layout.shown, font, color, it->layout.size);
        it->picture = picture.weak();
    }
    return picture;
}
