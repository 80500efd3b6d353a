#include "view/paint_cache.h"

#include <algorithm>

paint_layer::staleness paint_layer::compare(const view_state& state, const QList<buttonRecord>& buttons,
                                            QVector<int>& changed)
{
    changed.clear();
    bool all = !valid_ || image.isNull() || !(state == state_) || prints_.size() != buttons.size();
    if (all) {
        state_ = state;
        prints_.resize(buttons.size());
    }
    print* p = prints_.data();
    const int n = buttons.size();
    for (int i = 0; i < n; ++i, ++p) {
        const buttonRecord& r = buttons.at(i);
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
            // The pen later buttons are drawn with depends on the kinds.
            all = all || p->bounds != now.bounds || p->kind != now.kind;
            *p = now;
            if (!all)
                changed.append(i);
        }
    }
    valid_ = true;
    // Past half the buttons, drawing them all is no dearer.
    if (all || changed.size() > n / 2)
        return staleness::all;
    return changed.isEmpty() ? staleness::none : staleness::some_buttons;
}

void paint_layer::index(const QList<buttonRecord>& buttons, const QVector<QRect>& screenRects, const QSize& size)
{
    screen_ = screenRects;
    commandBefore_.resize(screen_.size());
    int last = -1;
    for (int i = 0; i < screen_.size(); ++i) {
        commandBefore_[i] = last;
        if (buttons.at(i).kind && !screen_[i].isEmpty())
            last = i;
    }
    columns_ = std::max(1, (size.width() + cell - 1) / cell);
    rows_ = std::max(1, (size.height() + cell - 1) / cell);
    cells_ = QVector<QVector<int>>(columns_ * rows_);
    const QRect area(QPoint(0, 0), size);
    for (int i = 0; i < screen_.size(); ++i) {
        const QRect r = screen_[i] & area;
        if (r.isEmpty())
            continue;
        for (int y = r.top() / cell; y <= r.bottom() / cell; ++y)
            for (int x = r.left() / cell; x <= r.right() / cell; ++x)
                cells_[y * columns_ + x].append(i);
    }
}

void paint_layer::buttons_meeting(const QRect& r, QVector<int>& out) const
{
    out.clear();
    const QRect area = r & QRect(0, 0, columns_ * cell, rows_ * cell);
    if (area.isEmpty())
        return;
    for (int y = area.top() / cell; y <= area.bottom() / cell; ++y)
        for (int x = area.left() / cell; x <= area.right() / cell; ++x)
            for (int i : cells_[y * columns_ + x])
                if (screen_[i].intersects(r))
                    out.append(i);
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
}

void paint_layer::clear()
{
    image = QImage();
    prints_ = QVector<print>();
    cells_ = QVector<QVector<int>>();
    screen_ = QVector<QRect>();
    commandBefore_ = QVector<int>();
    valid_ = false;
}

namespace {

// Enough for the faces of every button a view shows at any zoom; past it
// the cache starts over.
constexpr qint64 face_budget = qint64(32) << 20;

} // namespace

uint qHash(const face_cache::key& k, uint seed)
{
    const quint64 a = (quint64(quint32(k.size.width())) << 32) | quint32(k.size.height());
    const quint64 b = (quint64(k.fill) << 32) | k.outline;
    return qHash(a, seed) ^ (qHash(b, seed) * 31u) ^ (uint(k.shape) << 8 | uint(quint16(k.selected)));
}

const QImage* face_cache::find(const key& k) const
{
    auto it = faces_.constFind(k);
    return it == faces_.constEnd() ? nullptr : &it.value();
}

const QImage& face_cache::keep(const key& k, QImage face)
{
    if (bytes_ + face.sizeInBytes() > face_budget) {
        faces_.clear();
        bytes_ = 0;
    }
    bytes_ += face.sizeInBytes();
    return faces_.insert(k, std::move(face)).value();
}
