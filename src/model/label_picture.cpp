#include "model/label_picture.h"

#include "model/limits.h"

#include <QColor>
#include <QFontMetricsF>
#include <QHash>
#include <QPainter>
#include <QVector>

#include <algorithm>
#include <climits>
#include <cmath>
#include <deque>
#include <utility>

struct label_art {
    // One drawing of the label: for a zoom and density alone when the text
    // fits its box at the zoomed size (so every box it fits shares it), or
    // for one box it had to be shrunk or elided into.
    struct drawing {
        double zoom = 0;
        int density = 0;
        QSize box;     // empty: the text at its zoomed size
        QSize picture; // the image's size in widget pixels
        QImage image;
    };

    QString text;
    QFont font;
    quint32 color = 0;
    QSize size;
    bool rendered = false;
    QVector<drawing> drawings; // the most recently made last

    ~label_art();
    const QImage& keep(drawing d, const std::shared_ptr<label_art>& self);
};

namespace {

// Labels are measured in a 16 pixel font and drawn at that times the zoom,
// up to where text is only larger, not easier to read, and dearer to draw.
constexpr int label_pixels = 16;
constexpr int largest_label_pixels = 160;

// Drawings kept per label: buttons sharing a label come in a few sizes.
constexpr int drawings_per_label = 4;

// Drawings kept, oldest first, within a budget: panning over a large picker
// zoomed in must not keep one for every label it passed.
constexpr qint64 drawing_budget = qint64(64) << 20;

struct kept_drawing {
    std::weak_ptr<label_art> art;
    qint64 key; // the image this entry stands for, while the art still has it
};

struct drawing_cache {
    std::deque<kept_drawing> order;
    qint64 bytes = 0;
};

drawing_cache& kept_drawings()
{
    static drawing_cache cache;
    return cache;
}

void forget(label_art& art, int i)
{
    kept_drawings().bytes -= art.drawings[i].image.sizeInBytes();
    art.drawings.remove(i);
}

} // namespace

label_art::~label_art()
{
    for (const drawing& d : std::as_const(drawings))
        kept_drawings().bytes -= d.image.sizeInBytes();
}

const QImage& label_art::keep(drawing d, const std::shared_ptr<label_art>& self)
{
    drawing_cache& cache = kept_drawings();
    if (drawings.size() >= drawings_per_label)
        forget(*this, 0);
    cache.bytes += d.image.sizeInBytes();
    cache.order.push_back({self, d.image.cacheKey()});
    drawings.append(std::move(d));
    while (cache.bytes > drawing_budget && cache.order.size() > 1) {
        const kept_drawing oldest = cache.order.front();
        cache.order.pop_front();
        auto art = oldest.art.lock();
        if (!art)
            continue;
        for (int i = 0; i < art->drawings.size(); ++i)
            if (art->drawings[i].image.cacheKey() == oldest.key && !(art.get() == this && i == drawings.size() - 1)) {
                forget(*art, i);
                break;
            }
    }
    return drawings.last().image;
}

namespace {

// The text as drawn at one size, in device pixels.
struct text_fit {
    QFont font;
    QString shown;
    qreal advance = 0;
    // The ink: how far it rises above the baseline, and its height; text is
    // fitted and centred by what is drawn, not by the font's line.
    qreal rise = 0;
    qreal line = 0;
    int halo = 1;   // radius
};

QFont font_at(const QFont& base, int pixels)
{
    QFont font = base;
    font.setPixelSize(pixels);
    font.setStyleStrategy(QFont::PreferAntialias);
    return font;
}

// A thin halo: a pixel at the measured size, a little more as the text grows.
int halo_for(int pixels)
{
    return std::max(1, int(std::lround(pixels / 20.0)));
}

void set_ink(text_fit& fit, const QFontMetricsF& metrics)
{
    const QRectF ink = metrics.tightBoundingRect(fit.shown);
    fit.rise = -ink.top();
    fit.line = ink.height();
}

text_fit measure(const QFont& base, const QString& text, int pixels)
{
    text_fit fit;
    fit.font = font_at(base, pixels);
    const QFontMetricsF metrics(fit.font);
    fit.shown = text;
    fit.advance = metrics.horizontalAdvance(text);
    set_ink(fit, metrics);
    fit.halo = halo_for(pixels);
    return fit;
}

// Device pixels the text with its halo needs across and down.
qreal needed_width(const text_fit& f)
{
    return f.advance + 2 * f.halo;
}

// The zoomed size when it fits `room` (device pixels across, down), else
// smaller, down to the smallest readable size, and then elided; false when
// not even an elided text fits. An empty room asks for the zoomed size alone.
bool fit_text(const label_art& art, double zoom, int density, const QSize& room, text_fit* out)
{
    const int smallest = smallest_label_pixels * density;
    int pixels = int(std::min(zoom * label_pixels, double(largest_label_pixels)) * density);
    if (pixels < smallest)
        return false;
    text_fit fit = measure(art.font, art.text, pixels);
    if (room.isEmpty()) {
        *out = fit;
        return true;
    }
    while ((needed_width(fit) > room.width() || fit.line > room.height()) && pixels > smallest) {
        const qreal scale = std::min(room.width() / needed_width(fit), room.height() / std::max(fit.line, qreal(1)));
        pixels = std::max(smallest, std::min(pixels - 1, int(pixels * scale)));
        fit = measure(art.font, art.text, pixels);
    }
    if (needed_width(fit) > room.width()) {
        const QFontMetricsF metrics(fit.font);
        fit.shown = metrics.elidedText(art.text, Qt::ElideRight, room.width() - 2 * fit.halo);
        if (fit.shown.isEmpty())
            return false;
        fit.advance = metrics.horizontalAdvance(fit.shown);
        set_ink(fit, metrics);
    }
    *out = fit;
    return true;
}

// Whole widget pixels holding the text and its halo, at most `box`.
QSize picture_size(const text_fit& fit, int density, const QSize& box)
{
    const int across = int(std::ceil(needed_width(fit) / density));
    const int down = int(std::ceil((fit.line + 2 * fit.halo) / density));
    return QSize(std::min(across, box.width()), std::min(down, box.height()));
}

// The room a label has on a button: the box less a pixel on every side, so
// that a label never touches the edge (where selection rings are drawn).
QSize inside(const QSize& box)
{
    return QSize(std::max(0, box.width() - 2), std::max(0, box.height() - 2));
}

// Whether a picture of this size (widget pixels) fits a box.
bool fits(const QSize& picture, const QSize& box)
{
    const QSize room = inside(box);
    return picture.width() <= room.width() && picture.height() <= room.height();
}

// The coverage of `image` (its alpha) grown by a disc of this radius: each
// pixel takes the largest coverage within the radius.
QVector<uchar> grown(const QImage& image, int radius)
{
    const int w = image.width(), h = image.height();
    QVector<uchar> alpha(w * h);
    for (int y = 0; y < h; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < w; ++x)
            alpha[y * w + x] = uchar(qAlpha(line[x]));
    }
    // Each row grown across by every half-width the disc has, each from
    // the one a pixel narrower.
    QVector<QVector<uchar>> across(radius + 1);
    across[0] = alpha;
    for (int reach = 1; reach <= radius; ++reach) {
        const QVector<uchar>& in = across[reach - 1];
        QVector<uchar>& out = across[reach];
        out.resize(w * h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                uchar most = in[y * w + x];
                if (x > 0)
                    most = std::max(most, in[y * w + x - 1]);
                if (x + 1 < w)
                    most = std::max(most, in[y * w + x + 1]);
                out[y * w + x] = most;
            }
    }
    QVector<uchar> out(w * h, 0);
    for (int dy = -radius; dy <= radius; ++dy) {
        const int reach = int(std::sqrt(double(radius * radius - dy * dy)) + 0.5);
        const QVector<uchar>& row = across[std::min(reach, radius)];
        for (int y = std::max(0, -dy); y < std::min(h, h - dy); ++y)
            for (int x = 0; x < w; ++x)
                out[y * w + x] = std::max(out[y * w + x], row[(y + dy) * w + x]);
    }
    return out;
}

QImage draw_text(const label_art& art, const text_fit& fit, const QSize& size, int density)
{
    QImage image(size * density, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QPointF at((image.width() - fit.advance) / 2, (image.height() - fit.line) / 2 + fit.rise);
    const QColor ink = QColor(QRgb(art.color));
    QPainter painter;
    // A painter that cannot begin leaves the picture transparent.
    if (!painter.begin(&image))
        return image;
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.setFont(fit.font);
    painter.setPen(ink);
    painter.drawText(at, fit.shown);
    painter.end();
    // Dark text gets a light halo and light text a dark one, so the label
    // stands out of a fill of any colour, its own included. The halo is the
    // text's own pixels grown (glyph outlines are not drawn the same way
    // twice, glyph pictures are).
    const QRgb halo = qGray(ink.rgb()) < 128 ? qRgba(255, 255, 255, 160) : qRgba(0, 0, 0, 160);
    const QVector<uchar> cover = grown(image, fit.halo);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int a = cover[y * image.width() + x] * qAlpha(halo) / 255;
            const QRgb under = qRgba(qRed(halo) * a / 255, qGreen(halo) * a / 255, qBlue(halo) * a / 255, a);
            const QRgb text = line[x];
            // The text over its halo, premultiplied.
            const int keep = 255 - qAlpha(text);
            line[x] = qRgba(qRed(text) + qRed(under) * keep / 255, qGreen(text) + qGreen(under) * keep / 255,
                            qBlue(text) + qBlue(under) * keep / 255, qAlpha(text) + a * keep / 255);
        }
    }
    image.setDevicePixelRatio(density);
    return image;
}

} // namespace

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

const QImage& label_picture::drawn_at(const QSize& box, double zoom, int density) const
{
    static const QImage none;
    if (!art_ || box.isEmpty() || density < 1 || !(zoom > 0))
        return none;
    label_art& art = *art_;
    const QSize room = inside(box) * density;
    if (room.isEmpty())
        return none;
    for (int i = art.drawings.size() - 1; i >= 0; --i) {
        const label_art::drawing& d = art.drawings[i];
        if (d.zoom != zoom || d.density != density)
            continue;
        if (d.box == box)
            return d.image;
        // The text at its zoomed size serves every box it fits.
        if (d.box.isEmpty() && fits(d.picture, box))
            return d.image;
    }
    // Unless the text at its zoomed size fits, it is drawn for this box alone.
    text_fit fit;
    label_art::drawing made;
    made.zoom = zoom;
    made.density = density;
    if (!fit_text(art, zoom, density, QSize(), &fit))
        return none;
    if (!fits(picture_size(fit, density, QSize(INT_MAX, INT_MAX)), box)) {
        made.box = box;
        if (!fit_text(art, zoom, density, room, &fit))
            return none;
    }
    art.rendered = true;
    made.picture = picture_size(fit, density, inside(box));
    made.image = draw_text(art, fit, made.picture, density);
    return art.keep(std::move(made), art_);
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

// The label's room is measured by its advance and the font's line, never by
// the ink: glyph bounds come out a pixel apart between Qt versions, and a
// picker must lay out the same in every Maya.
QSize text_size(const QFontMetricsF& metrics, const QString& text)
{
    return QSize(int(std::ceil(metrics.horizontalAdvance(text))),
                 int(std::ceil(metrics.ascent())) + int(std::ceil(metrics.descent())));
}

label_layout lay_out(const QString& label, const QFontMetricsF& metrics)
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
    QSize text = text_size(metrics, shown);
    if (text.width() > widest || shown.size() < label.size()) {
        shown = metrics.elidedText(shown, Qt::ElideRight, widest);
        text = text_size(metrics, shown);
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
    font.setPixelSize(label_pixels);
    font.setStyleStrategy(QFont::NoAntialias);
    return font;
}

static const QFontMetricsF& label_metrics()
{
    static const QFontMetricsF metrics(label_font());
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
