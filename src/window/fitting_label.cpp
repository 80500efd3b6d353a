#include "window/fitting_label.h"

#include <QResizeEvent>

fitting_label::fitting_label(const QString& full, const QString& brief, QWidget* parent)
    : QLabel(full, parent), full_(full), brief_(brief)
{
}

int fitting_label::width_for(const QString& text) const
{
    const QMargins m = contentsMargins();
    return fontMetrics().horizontalAdvance(text) + m.left() + m.right() + 2 * margin();
}

QSize fitting_label::sizeHint() const
{
    return QSize(width_for(full_), QLabel::sizeHint().height());
}

QSize fitting_label::minimumSizeHint() const
{
    return QSize(width_for(brief_), QLabel::minimumSizeHint().height());
}

void fitting_label::resizeEvent(QResizeEvent* e)
{
    QLabel::resizeEvent(e);
    const QString& text = e->size().width() >= width_for(full_) ? full_ : brief_;
    if (this->text() != text)
        setText(text);
}
