#include "view/paint_cache.h"

#include "model/limits.h"

#include <QFontMetrics>

#include <algorithm>

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

bool paint_layer::current(const view_state& state, const QList<buttonRecord>& buttons)
{
    bool same = valid_ && state == state_ && prints_.size() == buttons.size();
    if (!same) {
        state_ = state;
        prints_.resize(buttons.size());
    }
    print* p = prints_.data();
    for (const buttonRecord& r : buttons) {
        print now;
        now.bounds = r.bounds;
        now.color = r.color;
        now.labelColor = r.labelColor;
        now.label = r.labelPixmap.id();
        now.kind = r.kind;
        now.selected = r.selected;
        now.several = r.name_count() >= 2;
        // Written only when it differs: an unchanged frame reads and compares.
        if (p->bounds != now.bounds || p->color != now.color || p->labelColor != now.labelColor
            || p->label != now.label || p->kind != now.kind || p->selected != now.selected
            || p->several != now.several) {
            same = false;
            *p = now;
        }
        ++p;
    }
    valid_ = true;
    return same;
}

void paint_layer::clear()
{
    image = QImage();
    prints_ = QVector<print>();
    valid_ = false;
}

qint64 paint_layer::bytes() const
{
    return image.sizeInBytes() + qint64(prints_.capacity()) * qint64(sizeof(print));
}
