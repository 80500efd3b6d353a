#include "edit/arrange_command.h"

#include "edit/property_commands.h"

namespace {

// Stable insertion sort of button indices by one coordinate: equal
// coordinates keep list order, so arranging twice gives the same result.
template <class Coordinate>
void sort_by(const picker_page* page, QVector<int>& indices, Coordinate coordinate)
{
    QVector<int> sorted;
    sorted.reserve(indices.size());
    for (int k : indices) {
        const int c = coordinate(page->at(k).pos);
        if (sorted.isEmpty() || c >= coordinate(page->at(sorted.last()).pos)) {
            sorted.append(k);
            continue;
        }
        int at = 0;
        while (at < sorted.size() && coordinate(page->at(sorted[at]).pos) <= c)
            ++at;
        sorted.insert(at, k);
    }
    indices = sorted;
}

} // namespace

int round_fn(int v, int m)
{
    if (m == 0) // no buttons, nothing to space
        return v;
    return v + m - (v % m);
}

arrange_buttons_cmd::arrange_buttons_cmd(picker_page* page, int mode) : page(page), mode(mode)
{
    // Named as the menu entry that arranges so.
    static const char* const texts[] = {"Align Horizontally", "Align Vertically", "Distribute Horizontally",
                                        "Distribute Vertically"};
    setText(mode >= 0 && mode < 4 ? texts[mode] : "Arrange Buttons");
    qint64 sumX = 0;
    qint64 sumY = 0;
    QVector<int> indices;
    for (int k : page->target_rows()) {
        const buttonRecord& r = page->at(k);
        sumX += r.pos.x();
        sumY += r.pos.y();
        const QRect spot(r.pos, QSize(1, 1));
        extent = indices.isEmpty() ? spot : extent.united(spot);
        indices.append(k);
        ids.append(r.id);
        oldPositions.append(r.pos);
    }
    const int n = indices.size();
    if (n < 1)
        return;


    if (mode == align_horizontal || mode == distribute_horizontal)
        sort_by(page, indices, [](const QPoint& p) { return p.x(); });
    else
        sort_by(page, indices, [](const QPoint& p) { return p.y(); });
    order = page->ids_of(indices);

    centre = QPoint(int(sumX / n), int(sumY / n));
    // Always the next multiple above, even from a multiple: the spacing
    // relies on the overshoot.
    extent.setWidth(round_fn(extent.width(), n));
    extent.setHeight(round_fn(extent.height(), n));
}

void arrange_buttons_cmd::redo()
{
    const int n = order.size();
    if (n < 2)
        return;
    picker_page::hold hold(page);
    const int stepX = extent.width() / (n - 1);
    const int stepY = extent.height() / (n - 1);
    for (int i = 0; i < n; ++i) {
        const int row = page->row_of(order[i]);
        if (row < 0)
            continue;
        const QPoint at = page->at(row).pos;
        switch (mode) {
        case align_horizontal:
            page->move(row, QPoint(at.x(), centre.y()));
            break;
        case align_vertical:
            page->move(row, QPoint(centre.x(), at.y()));
            break;
        case distribute_horizontal:
            page->move(row, QPoint(extent.left() + stepX * i, at.y()));
            break;
        case distribute_vertical:
            page->move(row, QPoint(at.x(), extent.top() + stepY * i));
            break;
        default:
            break;
        }
    }
}

void arrange_buttons_cmd::undo()
{
    if (order.size() < 2)
        return;
    picker_page::hold hold(page);
    for (int i = 0; i < ids.size(); ++i) {
        const int row = page->row_of(ids[i]);
        if (row >= 0)
            page->move(row, oldPositions[i]);
    }
}

int arrange_buttons_cmd::id() const
{
    return command_id::arrange;
}
