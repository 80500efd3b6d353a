// Copying buttons through the system clipboard, as a private MIME type
// holding the button list payload.
#pragma once

#include "model/button_model.h"

#include <QList>

class picker_view;

void copyButtonsToClipboard(const QList<buttonAttributes>& buttons);
// Pastes the clipboard's buttons into the view as one undoable command;
// nothing when the clipboard holds no picker buttons.
void handle_paste(picker_view* view, bool inPlace);
