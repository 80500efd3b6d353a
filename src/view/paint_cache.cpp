#include "view/paint_cache.h"

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
