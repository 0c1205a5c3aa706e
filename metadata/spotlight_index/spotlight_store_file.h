#ifndef SPOTLIGHT_STORE_FILE_H
#define SPOTLIGHT_STORE_FILE_H

#include "evidence/evidence_volume.h"
#include "spotlight_byte_source.h"
#include "spotlight_item_record.h"
#include "spotlight_name_sieve.h"
#include "spotlight_record.h"
#include "spotlight_tables.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

// Where an item's record lies: a metadata page and the record's place in
// the page's decompressed contents.
struct SpotlightRecordLocation
{
    qint64 page_offset = 0;
    quint32 record_offset = 0;
    quint32 record_size = 0;
};

// What scanning a store learns about one item: enough to place it on the
// volume and to read its attributes later.
struct SpotlightScannedItem
{
    SpotlightRecordHeader header;
    // The file name as UTF-8, empty when the item has none; it points into
    // the page being scanned and is valid only during the visit.
    QByteArrayView file_name;
    // The file name holds ASCII only, and so is its own composed form
    // (false when that was not looked at).
    bool file_name_ascii = false;
    SpotlightRecordLocation location;
    int page = 0;       // its page's place in the store's list of metadata pages
    quint64 digest = 0; // what the scan's digest made of it
};

// What one pass over a store's metadata pages reads and works out.
struct SpotlightScanOptions
{
    // The pages to read, by their place in the store's list; all when empty.
    std::function<bool(int page)> wanted;
    // Worked out for each item on the thread that decoded its page, so it
    // must be safe on any thread; the item's digest holds the answer.
    std::function<quint64(const SpotlightScannedItem &)> digest;
    // Hands over only the items whose digest is not 0.
    bool digested_only = false;
    // When set, an item whose name is ASCII and turned down by the sieve
    // is digested to 0 without asking digest.
    const SpotlightNameSieve *name_sieve = nullptr;
    // The digest looks at no more of an item than its identifier and name:
    // the rest of its header is read only when the item is handed over.
    bool digest_reads_name_only = false;
};

// One metadata page as a scan hands it over.
struct SpotlightScannedPage
{
    int number = 0; // its place in the store's list of metadata pages
    // The lowest and highest identifier of every item read from the page
    // (handed over or not); lowest > highest when it has none.
    quint64 lowest_id = 1;
    quint64 highest_id = 0;
    std::vector<SpotlightScannedItem> items;
};

struct SpotlightScanSummary
{
    int pages = 0;         // metadata pages the store lists
    int pages_read = 0;
    int pages_skipped = 0; // compressed with LZFSE, which this system cannot decode
    int pages_damaged = 0; // unreadable, or their contents don't decompress
    qint64 items = 0;
    qint64 damaged_records = 0;
};

// One store file of a volume's index (store.db or .store.db). Opening it
// reads its header and tables; scan() walks the item records of every
// metadata page once; record() reads one item's values again when a
// file asks for them, so only a few decompressed pages are ever held.
class SpotlightStoreFile
{
public:
    // The store's tables come from the string maps in string_map_folder
    // (beneath root, every link refused) when it holds them, else from the
    // store's own table pages. Nothing when the source is no store or has
    // no attribute table.
    static std::unique_ptr<SpotlightStoreFile> open(std::unique_ptr<SpotlightByteSource> source,
                                                    const EvidenceVolume *root = nullptr,
                                                    const QByteArray &string_map_folder = QByteArray());
    // A store file on disk, with the string maps beside it; the file and
    // the maps are opened as regular files only, never through a link.
    static std::unique_ptr<SpotlightStoreFile> open_file(const QString &path);

    SpotlightScanSummary scan(const std::function<void(const SpotlightScannedItem &)> &visit);
    // Reads the wanted pages in order, decoding them on worker threads, and
    // hands the items of each page read to visit on the calling thread, in
    // order, until visit returns false.
    SpotlightScanSummary scan_pages(const SpotlightScanOptions &options,
                                    const std::function<bool(const SpotlightScannedPage &)> &visit);
    // The metadata pages the store lists.
    int page_count() const { return int(metadata_pages_.size()); }

    // The record at location, its values decoded when asked for; nothing
    // when its page can no longer be read. The record needs this store's
    // tables, so the store must outlive it.
    std::optional<SpotlightItemRecord> record(const SpotlightRecordLocation &location);
    // The same for the record starting at record_offset of a metadata page
    // (its place in the store's list), its size as the page gives it.
    std::optional<SpotlightItemRecord> record_at(int page, quint32 record_offset);

    const SpotlightTables &tables() const { return tables_; }

private:
    explicit SpotlightStoreFile(std::unique_ptr<SpotlightByteSource> source);

    enum class PageState { Read, Skipped, Damaged };
    struct PageHeader;

    bool read_header(const EvidenceVolume *root, const QByteArray &string_map_folder);
    void read_table_page(qint64 offset, const std::function<bool(SpotlightByteReader &)> &add_entry);
    // A page's payload as stored, before decompression.
    struct FetchedPage
    {
        PageState state = PageState::Damaged;
        QByteArray payload;
        qint64 size_limit = -1; // what the page header says it decompresses to
        // Where the payload lies while it is still to be read.
        qint64 payload_offset = -1;
        qint64 payload_size = 0;
    };
    struct ScannedPage;

    std::optional<PageHeader> read_page_header(qint64 offset);
    // Reads a page's header and payload; end receives where the page ends.
    FetchedPage fetch_page(qint64 offset, qint64 *end);
    // Reads a page's header only, its payload left to read_payload.
    FetchedPage fetch_page_header(qint64 offset, qint64 *end);
    // Reads the payload of a page whose header was read.
    static void read_payload(FetchedPage &page, SpotlightByteSource &source);
    // Decompresses at most limit bytes; safe on any thread.
    static PageState decode_page(const FetchedPage &page, qint64 limit, QByteArray &contents);
    // Decodes a fetched page and reads its records; safe on any thread.
    // Reads the payload first when parallel_source is given.
    static void read_records(ScannedPage &page, const SpotlightTables &tables, const SpotlightScanOptions &options,
                             SpotlightByteSource *parallel_source);
    // Decompresses at most limit bytes; end receives where the page ends.
    PageState read_page(qint64 offset, QByteArray &contents, qint64 limit, qint64 *end = nullptr);
    const QByteArray *cached_page(qint64 offset);

    std::unique_ptr<SpotlightByteSource> source_;
    SpotlightTables tables_;
    std::vector<qint64> metadata_pages_;
    std::list<std::pair<qint64, QByteArray>> page_cache_; // most recent first
};

#endif // SPOTLIGHT_STORE_FILE_H
