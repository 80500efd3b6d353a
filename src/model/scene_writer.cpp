#include "model/scene_writer.h"

#include "model/picker_stream.h"

#include <QDataStream>
#include <QIODevice>
#include <QSet>

#include <iterator>

namespace {

// Records a chunk of the scene text holds: an edit recompresses one chunk.
constexpr int chunk_records = 128;
constexpr int record_level = 6;

// After the tabs, where readers that predate the patterns stop; no tabs
// carry none.
void write_patterns(QDataStream& out, const QVector<const picker_page*>& pages)
{
    if (pages.isEmpty())
        return;
    QList<QStringList> lists;
    for (const picker_page* page : pages)
        lists.append(page->mirror_patterns());
    write_side_patterns(out, lists);
}

} // namespace

void write_window_stream(QDataStream& out, const QVector<const picker_page*>& pages, int current)
{
    out << picker_format::window_version << qint32(pages.size()) << qint32(current);
    for (int i = 0; i < pages.size(); ++i) {
        const picker_page* page = pages[i];
        out << qint32(i) << page->name() << page->background_key();
        write_button_list(out, page->attributes());
    }
    write_patterns(out, pages);
}

QByteArray scene_writer::encode(const QVector<const picker_page*>& pages, int current)
{
    // The same bytes write_window_stream writes, cut where cached pieces
    // can stand in.
    QVector<deflate_piece> pieces;
    QByteArray head;
    auto close_head = [&] {
        if (!head.isEmpty())
            pieces.append(make_piece(head, record_level));
        head.clear();
    };
    QSet<const picker_page*> seen;
    {
        QDataStream out(&head, QIODevice::WriteOnly);
        out << picker_format::window_version << qint32(pages.size()) << qint32(current);
    }
    for (int i = 0; i < pages.size(); ++i) {
        const picker_page* page = pages[i];
        const int count = page->count();
        {
            QDataStream out(&head, QIODevice::Append);
            out << qint32(i) << page->name() << page->background_key() << qint32(count);
        }
        if (count < 1)
            continue;
        close_head();
        seen.insert(page);
        QVector<deflate_piece>& chunks = buttons_[page];
        chunks.resize((count + chunk_records - 1) / chunk_records);
        for (int c = 0; c < chunks.size(); ++c) {
            QByteArray raw;
            {
                QDataStream out(&raw, QIODevice::WriteOnly);
                for (int j = c * chunk_records; j < count && j < (c + 1) * chunk_records; ++j)
                    write_button_record(out, j, page->at(j));
            }
            refresh_piece(chunks[c], raw, record_level);
            pieces.append(chunks[c]);
        }
    }
    {
        QDataStream out(&head, QIODevice::Append);
        write_patterns(out, pages);
    }
    close_head();
    // Pages that are gone take their pieces with them.
    for (auto it = buttons_.begin(); it != buttons_.end();)
        it = seen.contains(it.key()) ? std::next(it) : buttons_.erase(it);
    return join_pieces(pieces);
}
