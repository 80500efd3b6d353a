// Picker files read into a book and written from its pages. Nothing here
// makes a widget: the window's File menu and scripts without Maya's
// interface share it.
#pragma once

#include "model/picker_book.h"
#include "model/picker_file.h"

#include <QList>
#include <QString>
#include <QStringList>

struct opened_picker {
    picker_page* page = nullptr;
    QString warning; // what the file lost on the way in; empty when it was whole
};

// A new page, in front, for a picker that was read; tied to its file only
// when nothing was lost.
opened_picker add_picker_page(picker_book& book, const QString& path, const pkr_contents& contents);
// Opens the files into new pages, each file `copies` times in a row (one a
// character); nothing opens unless every file can be read and all fit in
// the scene, and then `why` names the first that cannot.
bool open_into_book(picker_book& book, const QStringList& paths, QString* why, QList<opened_picker>* opened,
                    int copies = 1);
// Writes the page as a picker file, never destroying the file there on failure.
bool write_picker(const picker_page& page, const QString& path, QString* why, bool* refused);
