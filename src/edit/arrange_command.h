// Lines up or spaces out the fully selected buttons of a view.
#pragma once

#include <QPoint>
#include <QRect>
#include <QUndoCommand>
#include <QVector>

class picker_view;

class arrange_buttons_cmd : public QUndoCommand {
public:
    enum arrange_mode { align_horizontal = 0, align_vertical = 1, distribute_horizontal = 2,
                        distribute_vertical = 3 };

    arrange_buttons_cmd(picker_view* view, int mode);
    void undo() override;
    void redo() override;
    int id() const override;

private:
    picker_view* view;
    int mode;
    QVector<int> indices;         // in arrangement order
    QVector<int> listIndices;     // in list order, paired with oldPositions
    QVector<QPoint> oldPositions;
    QPoint centre;
    QRect extent;
};

// The next multiple of m strictly above v.
int round_fn(int v, int m);
