// For scripted runs: closes any modal dialog that stays open for a moment, so
// a run never waits for a person.
#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

class dialog_closer : public QObject {
    Q_OBJECT
public:
    explicit dialog_closer(QObject* parent = nullptr);

private:
    void check();

    QPointer<QWidget> seen_; // open at the previous check
};
