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
#include <deque>

struct label_art {
    QString text;
    QFont font;
    quint32 color = 0;
    QSize size;
    QPixmap pixmap;
    bool rendered = false;
    QImage enlarged; // the text drawn at the last other size asked for
    QImage plain;    // the picture itself, premultiplied

    ~label_art();
    void set_enlarged(QImage image, const std::shared_ptr<label_art>& self);
};

namespace {

// Enlarged pictures kept, oldest first, within a budget: panning over a
// large picker zoomed in must not keep one for every label it passed.
constexpr qint64 enlarged_budget = qint64(64) << 20;

struct enlarged_entry {
    std::weak_ptr<label_art> art;
    qint64 key; // the picture this entry stands for, while the art still has it
};

struct enlarged_cache {
    std::deque<enlarged_entry> order;
    qint64 bytes = 0;
};

enlarged_cache& enlarged_pictures()
{
    static enlarged_cache cache;
    return cache;
}

} // namespace

label_art::~label_art()
{
    enlarged_pictures().bytes -= enlarged.sizeInBytes();
}

void label_art::set_enlarged(QImage image, const std::shared_ptr<label_art>& self)
{
    enlarged_cache& cache = enlarged_pictures();
    cache.bytes += image.sizeInBytes() - enlarged.sizeInBytes();
    enlarged = std::move(image);
    cache.order.push_back({self, enlarged.cacheKey()});
    while (cache.bytes > enlarged_budget && cache.order.size() > 1) {
        const enlarged_entry oldest = cache.order.front();
        cache.order.pop_front();
        auto art = oldest.art.lock();
        if (art && art->enlarged.cacheKey() == oldest.key && art.get() != this) {
            cache.bytes -= art->enlarged.sizeInBytes();
            art->enlarged = QImage();
        }
    }
}

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
    // as in the picture and drawn at the enlarged size instead, smoothed,
    // into a picture of its own that is then copied pixel for pixel. A copy
    // is cut by a clip exactly where a whole paint cuts it; text is not.
    const QSize pixels = (target.size() * density).toSize();
    if (art_->enlarged.size() != pixels) {
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter text;
        if (text.begin(&image)) {
            text.scale(pixels.width() / size.width(), pixels.height() / size.height());
            QFont font = art_->font;
            font.setStyleStrategy(QFont::PreferAntialias);
            text.setFont(font);
            text.setPen(QColor(QRgb(art_->color)));
            text.setRenderHint(QPainter::TextAntialiasing);
            text.drawText(QRectF(QPointF(0, 0), size), Qt::AlignCenter, art_->text);
            text.end();
        }
        image.setDevicePixelRatio(density);
        art_->set_enlarged(std::move(image), art_);
    }
    painter.drawImage(target, art_->enlarged);
}

const QImage& label_picture::picture_at(const QSize& target, int hints) const
{
    static const QImage none;
    if (!art_ || target.isEmpty())
        return none;
    if (target == art_->size) {
        if (art_->plain.isNull())
            art_->plain = pixmap().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        return art_->plain;
    }
    if (art_->enlarged.size() != target) {
        QImage image(target, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter;
        if (painter.begin(&image)) {
            painter.setRenderHints(QPainter::RenderHints(hints));
            draw(painter, QRectF(QPointF(0, 0), QSizeF(target)));
            painter.end();
        }
        // Enlarged, draw() has just kept the text at this size: that is the picture.
        if (art_->enlarged.size() != target)
            art_->set_enlarged(std::move(image), art_);
    }
    return art_->enlarged;
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
