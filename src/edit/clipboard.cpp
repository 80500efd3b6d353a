#include "edit/clipboard.h"

#include "edit/button_commands.h"
#include "model/picker_host.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "model/scene_room.h"
#include "view/picker_view.h"

#include <QByteArray>
#include <QClipboard>
#include <QDataStream>
#include <QIODevice>
#include <QGuiApplication>
#include <QMimeData>

void copyButtonsToClipboard(const QList<buttonAttributes>& buttons)
{
    QByteArray payload;
    {
        QDataStream out(&payload, QIODevice::WriteOnly);
        writeButtonAttributes(out, buttons);
    }
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear(QClipboard::Clipboard);
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(picker_format::clipboard_mime), payload);
    clipboard->setMimeData(data, QClipboard::Clipboard);
}

void handle_paste(picker_view* view, bool inPlace)
{
    if (!view)
        return;
    const QString format = QString::fromLatin1(picker_format::clipboard_mime);
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data || !data->hasFormat(format))
        return;
    const QByteArray payload = data->data(format);
    QDataStream in(payload);
    const QList<buttonAttributes> buttons = readButtonAttributes(in);
    QString why = view->no_room_for(buttons.size(), names_in(buttons));
    if (why.isEmpty() && !view->pictures_fit(button_pictures(buttons)))
        why = scene_budget_exceeded();
    if (!why.isEmpty()) {
        picker_host::instance().warn(QString("Paste refused: %1.").arg(why));
        return;
    }
    // Even an unreadable payload becomes an (empty) undo entry: the user
    // asked for a paste and sees one.
    auto* command = new paste_buttons_cmd(view->page(), buttons, inPlace, view->mapToPicker(view->rect().center()));
    view->undoer()->push(command);
    // Judged by where the buttons came from, in either mode.
    if (!QRect(QPoint(0, 0), view->size()).contains(command->source()))
        view->frameBounds(command->source(), true);
}
