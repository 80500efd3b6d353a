// Lines up or spaces out the targeted buttons of a page.
#pragma once

#include "model/picker_page.h"

#include <QPoint>
#include <QRect>
#include <QUndoCommand>
#include <QVector>

class arrange_buttons_cmd : public QUndoCommand {
public:
    enum arrange_mode { align_horizontal = 0, align_vertical = 1, distribute_horizontal = 2,
                        distribute_vertical = 3 };

    arrange_buttons_cmd(picker_page* page, int mode);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_page* page;
    int mode;
    QVector<button_id> order;     // in arrangement order
    QVector<button_id> ids;       // in list order, paired with oldPositions
    QVector<QPoint> oldPositions;
    QPoint centre;
    QRect extent;
};

// The next multiple of m strictly above v.
int round_fn(int v, int m);
