// A caption that shows its full text where its layout gives it the room and
// a brief one where it does not: a narrow toolbox keeps its controls whole
// and shortens its words instead.
#pragma once

#include <QLabel>

class fitting_label : public QLabel {
    Q_OBJECT

public:
    fitting_label(const QString& full, const QString& brief, QWidget* parent = nullptr);
    // As wide as the full text, and at least as wide as the brief one.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* e) override;

private:
    int width_for(const QString& text) const;

    QString full_;
    QString brief_;
};
