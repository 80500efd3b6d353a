#include "view/paint_cache.h"

#include "model/platform.h"

#include <algorithm>
#include <cstring>
#include <vector>

paint_layer::staleness paint_layer::compare(const view_state& state, const QList<buttonRecord>& buttons,
                                            changes& changed)
{
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
        now.labelSize = r.labelPixmap.size();
        now.kind = r.kind;
        now.selected = r.selected;
        now.several = r.name_count() >= 2;
        now.missing = r.missing && names_scene_objects(r.kind);
        now.shape = r.shape;
        now.points = r.points;
        now.picture = r.picture.key();
        if (r.kind == attribute_kind) {
            now.value[0] = r.value[0];
            now.value[1] = r.value[1];
        }
        // Written only when it differs (NaN, a value not known, included):
        // an unchanged frame reads and compares.
        if (p->bounds != now.bounds || p->color != now.color || p->labelColor != now.labelColor
            || p->label != now.label || p->kind != now.kind || p->selected != now.selected
            || p->several != now.several || p->labelSize != now.labelSize || p->missing != now.missing
            || p->shape != now.shape || p->points != now.points
            || p->picture != now.picture || std::memcmp(p->value, now.value, sizeof now.value) != 0) {
            // The pen later buttons are drawn with depends on the kinds; a
            // label of another size reaches other pixels.
            all = all || p->bounds != now.bounds || p->kind != now.kind || p->labelSize != now.labelSize;
            // A square selection button's ring lies wholly outside its box.
            const bool ring = now.kind == 0 && !now.several && p->several == now.several
                && now.shape == qint32(button_shape::rectangle) && p->shape == now.shape
                && p->color == now.color && p->labelColor == now.labelColor && p->label == now.label
                && p->missing == now.missing && p->picture == now.picture;
            const bool lit = ring && p->selected == 0;
            *p = now;
            if (!all)
                (lit ? changed.lit : ring ? changed.rings : changed.buttons).append(i);
        }
    }
    valid_ = true;
    // Past half the buttons, drawing them all is no dearer.
    if (all || changed.size() > n / 2) {
        changed.clear();
        return staleness::all;
    }
    return changed.isEmpty() ? staleness::none : staleness::some_buttons;
}

void paint_layer::index(const QList<buttonRecord>& buttons, const QVector<QRect>& screenRects, const QSize& size)
{
    screen_ = screenRects;
    commandBefore_.resize(screen_.size());
    int last = -1;
    for (int i = 0; i < screen_.size(); ++i) {
        commandBefore_[i] = last;
        if (buttons.at(i).kind == command_kind && !screen_[i].isEmpty())
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
    ground = QImage();
    groundValid = false;
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
    // Looked up for every button a patch lays: a few multiplications.
    uint h = seed ^ uint(k.size.width()) * 0x9E3779B1u;
    h = (h ^ uint(k.size.height())) * 0x85EBCA77u;
    h = (h ^ k.fill) * 0xC2B2AE3Du;
    h = (h ^ k.outline) * 0x27D4EB2Fu;
    h ^= uint(k.missing) << 24 | uint(k.shape) << 16 | uint(quint16(k.selected));
    h = (h ^ uint(quint16(k.at[0])) ^ uint(quint16(k.at[1])) << 16) * 0x9E3779B1u;
    h = (h ^ uint(k.picture) ^ uint(k.picture >> 32)) * 0x85EBCA77u;
    for (const QPoint& p : k.points)
        h = (h ^ uint(p.x()) ^ uint(p.y()) << 16) * 0x9E3779B1u;
    return h ^ (h >> 15);
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

QRegion tiled_region(const QVector<QRect>& rects, const QRect& area)
{
    constexpr int tile = 4;
    const int columns = (area.width() + tile - 1) / tile, rows = (area.height() + tile - 1) / tile;
    if (columns <= 0 || rows <= 0)
        return QRegion();
    std::vector<uchar> marked(size_t(columns) * rows);
    for (const QRect& given : rects) {
        const QRect r = given & area;
        if (r.isEmpty())
            continue;
        for (int y = (r.top() - area.top()) / tile; y <= (r.bottom() - area.top()) / tile; ++y)
            std::fill_n(marked.begin() + y * columns + (r.left() - area.left()) / tile,
                        (r.right() - area.left()) / tile - (r.left() - area.left()) / tile + 1, uchar(1));
    }
    // Runs of marked tiles, a band per row of tiles.
    QVector<QRect> runs;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns;) {
            if (!marked[size_t(y) * columns + x]) {
                ++x;
                continue;
            }
            const int start = x;
            while (x < columns && marked[size_t(y) * columns + x])
                ++x;
            runs.append(QRect(area.left() + start * tile, area.top() + y * tile, (x - start) * tile, tile) & area);
        }
    QRegion region;
    if (!runs.isEmpty())
        region.setRects(runs.constData(), runs.size());
    return region;
}

namespace pixels {
namespace {

// x * a / 255 for each byte, rounded as Qt rounds it.
inline uint byte_mul(uint x, uint a)
{
    uint t = (x & 0xff00ff) * a;
    t = (t + ((t >> 8) & 0xff00ff) + 0x800080) >> 8;
    t &= 0xff00ff;
    x = ((x >> 8) & 0xff00ff) * a;
    x = (x + ((x >> 8) & 0xff00ff) + 0x800080);
    x &= 0xff00ff00;
    return x | t;
}

inline uint over(uint d, uint s)
{
    const uint a = s >> 24;
    return a == 255 ? s : s == 0 ? d : s + byte_mul(d, 255 - a);
}

} // namespace

void copy(QImage& to, const QImage& from, const QRect& clip)
{
    const QRect r = clip & to.rect() & from.rect();
    if (r.isEmpty())
        return;
    const size_t bytes = size_t(r.width()) * 4;
    const int stride = to.bytesPerLine();
    uchar* bits = to.bits();
    for (int y = r.top(); y <= r.bottom(); ++y)
        std::memcpy(bits + y * stride + r.left() * 4, from.constScanLine(y) + r.left() * 4, bytes);
}

void fill(QImage& to, const QRect& r, QRgb premultiplied, const QRect& clip)
{
    const QRect area = r & clip & to.rect();
    if (area.isEmpty() || premultiplied == 0)
        return;
    const uint keep = 255 - qAlpha(premultiplied);
    const int stride = to.bytesPerLine();
    uchar* bits = to.bits();
    for (int y = area.top(); y <= area.bottom(); ++y) {
        uint* line = reinterpret_cast<uint*>(bits + y * stride) + area.left();
        if (keep == 0)
            std::fill(line, line + area.width(), uint(premultiplied));
        else
            for (int x = 0; x < area.width(); ++x)
                line[x] = premultiplied + byte_mul(line[x], keep);
    }
}

#ifdef QUILL_SSE2
// The same arithmetic on four pixels at a time, in 16-bit lanes.
namespace four {

inline __m128i load(const uint* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void store(uint* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

inline bool all_zero(__m128i v)
{
    return _mm_movemask_epi8(_mm_cmpeq_epi32(v, _mm_setzero_si128())) == 0xffff;
}

// Each pixel's 255 - alpha, in both 16-bit halves of it.
inline __m128i inverse_alpha(__m128i p)
{
    const __m128i a = _mm_srli_epi32(p, 24);
    return _mm_sub_epi16(_mm_set1_epi16(0xff), _mm_or_si128(a, _mm_slli_epi32(a, 16)));
}

inline __m128i red_blue(__m128i p)
{
    return _mm_and_si128(p, _mm_set1_epi32(0x00ff00ff));
}

inline __m128i alpha_green(__m128i p)
{
    return _mm_srli_epi16(p, 8);
}

// Sums of byte products back to bytes, divided by 255 as byte_mul rounds.
inline __m128i divide_255(__m128i rb, __m128i ag)
{
    const __m128i half = _mm_set1_epi16(0x80);
    rb = _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(rb, _mm_srli_epi16(rb, 8)), half), 8);
    ag = _mm_add_epi16(_mm_add_epi16(ag, _mm_srli_epi16(ag, 8)), half);
    return _mm_or_si128(_mm_andnot_si128(_mm_set1_epi32(0x00ff00ff), ag), rb);
}

inline __m128i byte_mul(__m128i x, __m128i factor)
{
    return divide_255(_mm_mullo_epi16(red_blue(x), factor), _mm_mullo_epi16(alpha_green(x), factor));
}

} // namespace four
#endif

// Lays a row of premultiplied pixels over another, four at a time where the
// processor allows, with the rounding of byte_mul.
static void over_row(uint* d, const uint* s, int n)
{
    int x = 0;
#ifdef QUILL_SSE2
    for (; x + 4 <= n; x += 4) {
        const __m128i src = four::load(s + x);
        // Nothing to lay: the row stays; all opaque: the source replaces it.
        if (four::all_zero(src))
            continue;
        if (four::all_zero(four::inverse_alpha(src))) {
            four::store(d + x, src);
            continue;
        }
        four::store(d + x, _mm_add_epi32(src, four::byte_mul(four::load(d + x), four::inverse_alpha(src))));
    }
#endif
    for (; x < n; ++x)
        d[x] = over(d[x], s[x]);
}

void blend(QImage& to, const QImage& from, const QPoint& at, const QRect& clip)
{
    const QRect area = QRect(at, from.size()) & clip & to.rect();
    if (area.isEmpty())
        return;
    const int stride = to.bytesPerLine();
    uchar* bits = to.bits();
    for (int y = area.top(); y <= area.bottom(); ++y) {
        uint* d = reinterpret_cast<uint*>(bits + y * stride) + area.left();
        const uint* s = reinterpret_cast<const uint*>(from.constScanLine(y - at.y())) + (area.left() - at.x());
        over_row(d, s, area.width());
    }
}

} // namespace pixels
