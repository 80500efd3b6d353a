#include "edit/arrange_command.h"

#include "edit/property_commands.h"
#include "view/picker_view.h"

namespace {

// Stable insertion sort of button indices by one coordinate: equal
// coordinates keep list order, so arranging twice gives the same result.
template <class Coordinate>
void sort_by(const picker_view* view, QVector<int>& indices, Coordinate coordinate)
{
    QVector<int> sorted;
    sorted.reserve(indices.size());
    for (int k : indices) {
        const int c = coordinate(view->buttons.at(k).pos);
        if (sorted.isEmpty() || c >= coordinate(view->buttons.at(sorted.last()).pos)) {
            sorted.append(k);
            continue;
        }
        int at = 0;
        while (at < sorted.size() && coordinate(view->buttons.at(sorted[at]).pos) <= c)
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

arrange_buttons_cmd::arrange_buttons_cmd(picker_view* view, int mode) : view(view), mode(mode)
{
    setText("Arrange Buttons");
    qint64 sumX = 0;
    qint64 sumY = 0;
    for (int k = 0; k < view->buttons.size(); ++k) {
        const buttonRecord& r = view->buttons.at(k);
        // Partly selected buttons are lit only through names they share
        // with others; they stay where they are.
        if (r.selected != 1)
            continue;
        sumX += r.pos.x();
        sumY += r.pos.y();
        const QRect spot(r.pos, QSize(1, 1));
        extent = indices.isEmpty() ? spot : extent.united(spot);
        indices.append(k);
        listIndices.append(k);
        oldPositions.append(r.pos);
    }
    const int n = indices.size();
    if (n < 1)
        return;

    if (mode == align_horizontal || mode == distribute_horizontal)
        sort_by(view, indices, [](const QPoint& p) { return p.x(); });
    else
        sort_by(view, indices, [](const QPoint& p) { return p.y(); });

    centre = QPoint(int(sumX / n), int(sumY / n));
    // Always the next multiple above, even from a multiple: the spacing
    // relies on the overshoot.
    extent.setWidth(round_fn(extent.width(), n));
    extent.setHeight(round_fn(extent.height(), n));
}

void arrange_buttons_cmd::redo()
{
    const int n = indices.size();
    if (n < 2)
        return;
    const int stepX = extent.width() / (n - 1);
    const int stepY = extent.height() / (n - 1);
    for (int i = 0; i < n; ++i) {
        if (indices[i] < 0 || indices[i] >= view->buttons.size())
            continue;
        buttonRecord& b = view->buttons[indices[i]];
        switch (mode) {
        case align_horizontal:
            b.moveTo(QPoint(b.pos.x(), centre.y()));
            break;
        case align_vertical:
            b.moveTo(QPoint(centre.x(), b.pos.y()));
            break;
        case distribute_horizontal:
            b.moveTo(QPoint(extent.left() + stepX * i, b.pos.y()));
            break;
        case distribute_vertical:
            b.moveTo(QPoint(b.pos.x(), extent.top() + stepY * i));
            break;
        default:
            break;
        }
    }
    view->refresh();
    view->signal_changed();
}

void arrange_buttons_cmd::undo()
{
    if (indices.size() < 2)
        return;
    for (int i = 0; i < listIndices.size(); ++i)
        if (listIndices[i] >= 0 && listIndices[i] < view->buttons.size())
            view->buttons[listIndices[i]].moveTo(oldPositions[i]);
    view->refresh();
    view->signal_changed();
}

int arrange_buttons_cmd::id() const
{
    return command_id::arrange;
}
