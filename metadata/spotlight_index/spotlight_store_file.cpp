#include "spotlight_store_file.h"

#include "spotlight_bytes.h"
#include "spotlight_item_names.h"
#include "spotlight_page_codecs.h"
#include "spotlight_string_maps.h"

#include "evidence/host_folder_volume.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtConcurrent/QtConcurrentMap>


#include <algorithm>
#include <cstring>

namespace {

// The header's page numbers count blocks of this size.
constexpr qint64 block_size = 0x1000;
constexpr qint64 store_header_size = 0x48;
constexpr qint64 page_header_size = 0x14;
// Table pages start their entries after a few more unused bytes.
constexpr qint64 table_entries_start = 0x20;
constexpr qint64 block_map_header_size = 0x14;
constexpr qint64 block_map_entry_size = 16;

// No page of a real store comes near these; a larger claim is damage, and
// obeying it could exhaust memory.
constexpr quint32 max_page_size = 64 * 1024 * 1024;
constexpr qint64 max_decompressed_page = 16 * 1024 * 1024;
// Metadata pages shrink to a half or a quarter; a whole store decompressing
// to many times its size is a bomb.
constexpr qint64 decompression_budget_factor = 32;
// Whatever a store claims, one scan decompresses, reads and visits no more
// than this: the largest real stores stay well below, and a crafted or
// sparse one costs seconds, not minutes.
constexpr qint64 max_scan_decompressed = qint64(4) * 1024 * 1024 * 1024;
constexpr qint64 max_scan_read = qint64(1) * 1024 * 1024 * 1024;
constexpr qsizetype max_metadata_pages = 1 << 18;
constexpr qint64 max_block_map_size = 64 * 1024 * 1024;
constexpr int page_cache_size = 8;
constexpr qint64 max_batch_contents = 64 * 1024 * 1024;
// Pages of real stores decompress to tens of kilobytes; a buffer that grew
// past this for a larger one is not kept for the pages after it.
constexpr qsizetype max_reused_contents = 1024 * 1024;

bool has_signature(const QByteArray &bytes, const char *tail)
{
    // Pages and maps are signed with a version digit and a three-letter tail.
    return bytes.size() >= 4 && std::memcmp(bytes.constData() + 1, tail, 3) == 0;
}

} // namespace

struct SpotlightStoreFile::PageHeader
{
    quint32 size = 0;
    quint32 used = 0;
    quint32 flags = 0;
    quint32 decompressed_size = 0; // of compressed pages: with the page header
};

SpotlightStoreFile::SpotlightStoreFile(std::unique_ptr<SpotlightByteSource> source) : source_(std::move(source)) {}

std::unique_ptr<SpotlightStoreFile> SpotlightStoreFile::open(std::unique_ptr<SpotlightByteSource> source,
                                                             const EvidenceVolume *root,
                                                             const QByteArray &string_map_folder)
{
    if (!source)
        return nullptr;
    std::unique_ptr<SpotlightStoreFile> store(new SpotlightStoreFile(std::move(source)));
    if (!store->read_header(root, string_map_folder))
        return nullptr;
    return store;
}

std::unique_ptr<SpotlightStoreFile> SpotlightStoreFile::open_file(const QString &path)
{
    const QFileInfo file(path);
    const HostFolderVolume folder(file.absolutePath());
    const QByteArray name = QFile::encodeName(file.fileName());
    return open(SpotlightByteSource::from_object(folder.open_regular_file(name, EvidenceVolume::Links::Refused)),
                &folder, QByteArray());
}

bool SpotlightStoreFile::read_header(const EvidenceVolume *root, const QByteArray &string_map_folder)
{
    const QByteArray header = source_->read(0, store_header_size);
    if (header.size() < store_header_size || !header.startsWith("8tsd"))
        return false;
    SpotlightByteReader reader(header);
    quint32 map_offset = 0, map_size = 0;
    quint32 table_blocks[5] = {};
    reader.skip(0x24);
    reader.read_u32(map_offset);
    reader.read_u32(map_size);
    reader.skip(4);
    for (quint32 &block : table_blocks)
        reader.read_u32(block);

    // Tables: the string maps when the store has them, else the table pages
    // the header points to (attribute names, categories, an unused table,
    // category lists, localized category lists).
    if (root)
        spotlight_read_string_map_tables(*root, string_map_folder, tables_);
    using List = SpotlightTables::ListTable;
    if (!tables_.has_properties() && table_blocks[0]) {
        read_table_page(table_blocks[0] * block_size, [this](SpotlightByteReader &entry) {
            quint32 number = 0;
            return entry.read_u32(number) && tables_.add_property(number, entry);
        });
    }
    if (!tables_.has_categories() && table_blocks[1]) {
        read_table_page(table_blocks[1] * block_size, [this](SpotlightByteReader &entry) {
            quint32 number = 0;
            return entry.read_u32(number) && tables_.add_category(number, entry);
        });
    }
    const std::pair<int, List> lists[] = {{3, List::Plain}, {4, List::Localized}};
    for (const auto &[slot, table] : lists) {
        if (tables_.has_lists(table) || !table_blocks[slot])
            continue;
        read_table_page(table_blocks[slot] * block_size, [this, table = table](SpotlightByteReader &entry) {
            quint32 number = 0;
            return entry.read_u32(number) && tables_.add_list(table, number, entry);
        });
    }
    if (!tables_.has_properties())
        return false;

    // The block map lists the metadata pages, each with the highest item
    // identifier it holds.
    if (map_size < block_map_header_size || map_size > max_block_map_size)
        return true;
    const QByteArray map = source_->read(map_offset, map_size);
    if (!has_signature(map, "mbd"))
        return true;
    SpotlightByteReader map_reader(map);
    quint32 count = 0;
    map_reader.skip(8);
    map_reader.read_u32(count);
    map_reader.skip(block_map_header_size - 12);
    const quint64 room = quint64(map_reader.remaining()) / block_map_entry_size;
    metadata_pages_.reserve(size_t(qMin<quint64>(count, room)));
    for (quint64 i = 0; i < count && i < room; ++i) {
        quint64 highest_id = 0;
        quint32 block = 0, size = 0;
        map_reader.read_u64(highest_id);
        map_reader.read_u32(block);
        map_reader.read_u32(size);
        // A page past the end of the file, or in a hole of a sparse one,
        // can hold nothing: it is not even looked at.
        const qint64 offset = qint64(block) * block_size;
        if (block != 0 && source_->holds_data(offset, page_header_size))
            metadata_pages_.push_back(offset);
    }
    // A page listed twice is read once; scanning goes through the file in order.
    std::sort(metadata_pages_.begin(), metadata_pages_.end());
    metadata_pages_.erase(std::unique(metadata_pages_.begin(), metadata_pages_.end()), metadata_pages_.end());
    if (qsizetype(metadata_pages_.size()) > max_metadata_pages)
        metadata_pages_.resize(size_t(max_metadata_pages));
    return true;
}

std::optional<SpotlightStoreFile::PageHeader> SpotlightStoreFile::read_page_header(qint64 offset)
{
    const QByteArray bytes = source_->read(offset, page_header_size);
    if (bytes.size() < page_header_size || !has_signature(bytes, "pbd"))
        return std::nullopt;
    SpotlightByteReader reader(bytes);
    PageHeader header;
    reader.skip(4);
    reader.read_u32(header.size);
    reader.read_u32(header.used);
    reader.read_u32(header.flags);
    reader.read_u32(header.decompressed_size);
    if (header.size > max_page_size || header.used > header.size || header.used < page_header_size
        || offset + qint64(header.used) > source_->size() || !source_->holds_data(offset, header.used))
        return std::nullopt;
    return header;
}

void SpotlightStoreFile::read_table_page(qint64 offset, const std::function<bool(SpotlightByteReader &)> &add_entry)
{
    const auto header = read_page_header(offset);
    if (!header || header->used < table_entries_start)
        return;
    const QByteArray page = source_->read(offset, header->used);
    if (page.size() < qsizetype(header->used))
        return;
    SpotlightByteReader entries(page.constData() + table_entries_start, page.size() - table_entries_start);
    // An entry that can't be read leaves the place of every later one unknown.
    while (!entries.at_end() && add_entry(entries)) {
    }
}

SpotlightStoreFile::FetchedPage SpotlightStoreFile::fetch_page(qint64 offset, qint64 *end)
{
    FetchedPage page = fetch_page_header(offset, end);
    read_payload(page, *source_);
    return page;
}

SpotlightStoreFile::FetchedPage SpotlightStoreFile::fetch_page_header(qint64 offset, qint64 *end)
{
    FetchedPage page;
    const auto header = read_page_header(offset);
    if (!header)
        return page;
    if (end)
        *end = offset + header->used;
    if (header->decompressed_size > page_header_size)
        page.size_limit = qint64(header->decompressed_size) - page_header_size;
    page.payload_offset = offset + page_header_size;
    page.payload_size = qint64(header->used) - page_header_size;
    return page;
}

void SpotlightStoreFile::read_payload(FetchedPage &page, SpotlightByteSource &source)
{
    if (page.payload_offset < 0)
        return;
    page.payload = source.read(page.payload_offset, page.payload_size);
    page.payload_offset = -1;
    if (page.payload.size() < qsizetype(page.payload_size))
        return;
    page.state = page.payload.startsWith("bvx") ? PageState::Skipped : PageState::Read;
}

SpotlightStoreFile::PageState SpotlightStoreFile::decode_page(const FetchedPage &page, qint64 limit,
                                                              QByteArray &contents)
{
    if (page.state != PageState::Read)
        return page.state; // Skipped: LZFSE, no decoder for it on this system
    if (page.size_limit >= 0)
        limit = qMin(limit, page.size_limit);
    if (page.payload.startsWith("bv4"))
        return spotlight_decompress_lz4(page.payload, limit, contents) ? PageState::Read : PageState::Damaged;
    if (spotlight_is_zlib_stream(page.payload))
        return spotlight_decompress_zlib(page.payload, limit, contents) ? PageState::Read : PageState::Damaged;
    contents = page.payload; // records stored as they are
    return PageState::Read;
}

SpotlightStoreFile::PageState SpotlightStoreFile::read_page(qint64 offset, QByteArray &contents, qint64 limit,
                                                            qint64 *end)
{
    return decode_page(fetch_page(offset, end), limit, contents);
}

const QByteArray *SpotlightStoreFile::cached_page(qint64 offset)
{
    for (auto it = page_cache_.begin(); it != page_cache_.end(); ++it) {
        if (it->first == offset) {
            page_cache_.splice(page_cache_.begin(), page_cache_, it);
            return &page_cache_.front().second;
        }
    }
    QByteArray contents;
    if (read_page(offset, contents, max_decompressed_page) != PageState::Read)
        return nullptr;
    page_cache_.emplace_front(offset, std::move(contents));
    if (int(page_cache_.size()) > page_cache_size)
        page_cache_.pop_back();
    return &page_cache_.front().second;
}

namespace {

// Steps over a record's attributes up to its file name, which name receives
// as UTF-8: a view into the record when it is stored as plain text, else
// the text the full decoding gives, kept in spelt; ascii tells whether the
// view holds ASCII only (false for spelt names). A record names itself
// once; stepping stops at the first file name.
SpotlightRecordEnd find_file_name(SpotlightByteReader &record, const SpotlightTables &tables, QByteArrayView &name,
                                  QByteArray &spelt, bool &ascii)
{
    quint64 number = 0;
    while (!record.at_end()) {
        const SpotlightProperty *property = spotlight_next_property(record, tables, number);
        if (!property)
            return SpotlightRecordEnd::Damaged;
        if (!property->is_file_name) {
            if (!spotlight_read_value(record, *property, tables, nullptr))
                return SpotlightRecordEnd::Damaged;
            continue;
        }
        if (property->type == spotlight_type::String && !(property->flags & spotlight_flag::Multiple)) {
            quint64 length = 0;
            const char *bytes = nullptr;
            const SpotlightByteReader at_value = record;
            if (!record.read_varint(length) || !record.read_bytes(length, bytes))
                return SpotlightRecordEnd::Damaged;
            qsizetype size = qsizetype(length);
            while (size > 0 && bytes[size - 1] == '\0')
                --size;
            // Localized texts carry a language marker: those go the long way.
            const SpotlightNameLook look = spotlight_look_at_name(QByteArrayView(bytes, size));
            if (!look.localized) {
                name = QByteArrayView(bytes, size);
                ascii = look.ascii;
                return SpotlightRecordEnd::Stopped;
            }
            record = at_value;
        }
        MetadataValue value;
        if (!spotlight_read_value(record, *property, tables, &value))
            return SpotlightRecordEnd::Damaged;
        if (value.kind == MetadataValue::Kind::Text) {
            spelt = value.text.toUtf8();
            name = spelt;
        }
        return SpotlightRecordEnd::Stopped;
    }
    return SpotlightRecordEnd::Complete;
}

} // namespace

// One metadata page of a scan: fetched in order, then decoded and its
// records read on any thread, then handed to the visitor in order.
struct SpotlightStoreFile::ScannedPage
{
    SpotlightScannedPage scanned; // file names point into contents or spelt
    qint64 offset = 0;
    qint64 limit = 0;
    FetchedPage fetched;
    PageState state = PageState::Damaged;
    QByteArray contents;
    std::vector<QByteArray> spelt;
    qint64 items = 0; // read, whether handed over or not
    qint64 damaged_records = 0;
};

void SpotlightStoreFile::read_records(ScannedPage &page, const SpotlightTables &tables,
                                      const SpotlightScanOptions &options, SpotlightByteSource *parallel_source)
{
    if (parallel_source)
        read_payload(page.fetched, *parallel_source);
    page.state = decode_page(page.fetched, page.limit, page.contents);
    if (page.state != PageState::Read)
        return;
    // Records follow each other, each preceded by its size.
    SpotlightByteReader reader(page.contents);
    QByteArray spelt;
    // Most items of a look-up by name are passed over for their name alone.
    const bool header_later = options.digest && options.digest_reads_name_only;
    SpotlightScannedPage &scanned = page.scanned;
    quint64 lowest = scanned.lowest_id, highest = scanned.highest_id;
    // One item is filled in record after record: clearing a whole new one
    // for each cost a tenth of a look-up's scanning.
    SpotlightScannedItem item;
    item.page = scanned.number;
    while (reader.remaining() >= 4) {
        quint32 size = 0;
        reader.read_u32(size);
        if (size == 0)
            break; // the unused rest of the page
        const qsizetype start = reader.position();
        const char *bytes = nullptr;
        if (!reader.read_bytes(size, bytes)) {
            ++page.damaged_records;
            break;
        }
        SpotlightByteReader record(bytes, qsizetype(size));
        item.header = SpotlightRecordHeader();
        if (header_later ? !spotlight_read_record_id(record, item.header.id)
                         : !spotlight_read_record_header(record, item.header)) {
            ++page.damaged_records;
            continue;
        }
        item.location = {page.offset, quint32(start), size};
        const quint64 id = item.header.id;
        const bool first = lowest > highest;
        lowest = first || id < lowest ? id : lowest;
        highest = first || id > highest ? id : highest;
        item.file_name = QByteArrayView();
        item.file_name_ascii = false;
        if (find_file_name(record, tables, item.file_name, spelt, item.file_name_ascii) == SpotlightRecordEnd::Damaged)
            ++page.damaged_records;
        if (!spelt.isEmpty()) {
            page.spelt.push_back(std::move(spelt));
            item.file_name = page.spelt.back();
            spelt = QByteArray();
        }
        const bool sieved = options.name_sieve && item.file_name_ascii
                         && !options.name_sieve->may_hold(item.file_name);
        item.digest = options.digest && !sieved ? options.digest(item) : 0;
        ++page.items;
        if (!options.digested_only || item.digest) {
            if (header_later) {
                SpotlightByteReader header(bytes, qsizetype(size));
                spotlight_read_record_header(header, item.header);
            }
            scanned.items.push_back(item);
        }
    }
    scanned.lowest_id = lowest;
    scanned.highest_id = highest;
}

SpotlightScanSummary SpotlightStoreFile::scan(const std::function<void(const SpotlightScannedItem &)> &visit)
{
    return scan_pages({}, [&visit](const SpotlightScannedPage &page) {
        for (const SpotlightScannedItem &item : page.items)
            visit(item);
        return true;
    });
}

SpotlightScanSummary SpotlightStoreFile::scan_pages(
    const SpotlightScanOptions &options,
    const std::function<bool(const SpotlightScannedPage &)> &visit)
{
    SpotlightScanSummary summary;
    // Damage can make pages overlap, or claim far more contents than any
    // real index compresses to; neither may multiply the work of a scan.
    // The budget is settled page by page as they are visited, while the
    // next batch is already being decoded: at most two batches of pages more.
    qint64 covered_until = 0;
    qint64 budget = qMin(decompression_budget_factor * source_->size() + max_decompressed_page,
                         max_scan_decompressed);
    qint64 read_budget = max_scan_read;
    // Pages are read from the store in order and decoded on the pool's
    // threads while the calling thread takes the batch before: decoding is
    // four fifths of a single look-up's processor time and two thirds of a
    // whole read's. On two free cores a left-click run over ten million
    // items took 1.0 s against 1.45 s on one; with one core busy with
    // other work they gained nothing (docs/benchmarks.md). A batch holds
    // at most max_batch_contents of decompressed
    // pages, as far as their headers tell, so that pages claiming the
    // largest size cannot multiply memory by the number of processors.
    const size_t batch_size = size_t(qBound(2, 16 * QThread::idealThreadCount(), 64));
    std::vector<ScannedPage> batches[2];
    // Where the store may be read from several threads, the pool reads each
    // page's payload itself: copying the store out of the kernel is then
    // shared between the processors, and this thread reads headers only.
    SpotlightByteSource *parallel_source = source_->reads_concurrently() ? source_.get() : nullptr;
    QFuture<void> decoding[2];
    size_t next = 0;
    const SpotlightTables &tables = tables_;
    // Reads the next pages of the store into batch.
    const auto fetch_batch = [&](std::vector<ScannedPage> &batch) {
        qint64 batch_contents = 0;
        size_t used = 0;
        while (next < metadata_pages_.size() && used < batch_size && batch_contents < max_batch_contents) {
            const int number = int(next++);
            if (options.wanted && !options.wanted(number))
                continue;
            if (batch.size() <= used)
                batch.emplace_back();
            ScannedPage &page = batch[used++];
            page.scanned.number = number;
            page.scanned.lowest_id = 1;
            page.scanned.highest_id = 0;
            page.scanned.items.clear();
            page.offset = metadata_pages_[size_t(number)];
            page.limit = qMin(budget, max_decompressed_page);
            // The buffers of the page before are reused: a store of ten
            // million items has forty thousand pages.
            page.fetched = FetchedPage();
            page.state = PageState::Damaged;
            if (page.contents.capacity() > max_reused_contents)
                page.contents = QByteArray();
            page.contents.resize(0);
            page.spelt.clear();
            page.items = 0;
            page.damaged_records = 0;
            if (page.offset >= covered_until && budget > 0 && read_budget > 0) {
                page.fetched = parallel_source ? fetch_page_header(page.offset, &covered_until)
                                               : fetch_page(page.offset, &covered_until);
                if (covered_until > page.offset)
                    read_budget -= covered_until - page.offset;
            }
            if (page.fetched.size_limit >= 0)
                page.limit = qMin(page.limit, page.fetched.size_limit);
            batch_contents += page.limit;
        }
        batch.resize(used);
    };
    const auto decode_batch = [&tables, &options, parallel_source](std::vector<ScannedPage> &batch) {
        return QtConcurrent::map(batch, [&tables, &options, parallel_source](ScannedPage &page) {
            read_records(page, tables, options, parallel_source);
        });
    };

    // While the pool decodes one batch, this thread takes the batch before
    // and then reads the one after from the store: the pool waits only
    // for the hand-over.
    int current = 0;
    fetch_batch(batches[current]);
    decoding[current] = decode_batch(batches[current]);
    fetch_batch(batches[1 - current]);
    bool going = true;
    while (going && !batches[current].empty()) {
        decoding[current].waitForFinished();
        const int following = 1 - current;
        decoding[following] = decode_batch(batches[following]);
        for (ScannedPage &page : batches[current]) {
            ++summary.pages;
            const PageState state = budget <= 0 ? PageState::Damaged : page.state;
            budget -= page.contents.size();
            if (state == PageState::Skipped) {
                ++summary.pages_skipped;
                continue;
            }
            if (state == PageState::Damaged) {
                ++summary.pages_damaged;
                continue;
            }
            ++summary.pages_read;
            summary.damaged_records += page.damaged_records;
            summary.items += page.items;
            if (!visit(page.scanned)) {
                going = false;
                break;
            }
        }
        if (going)
            fetch_batch(batches[current]);
        current = following;
    }
    for (QFuture<void> &batch : decoding)
        batch.waitForFinished();
    return summary;
}

std::optional<SpotlightItemRecord> SpotlightStoreFile::record(const SpotlightRecordLocation &location)
{
    const QByteArray *contents = cached_page(location.page_offset);
    if (!contents || quint64(location.record_offset) + location.record_size > quint64(contents->size()))
        return std::nullopt;
    QByteArray bytes(contents->constData() + location.record_offset, qsizetype(location.record_size));
    SpotlightByteReader reader(bytes);
    SpotlightRecordHeader header;
    if (!spotlight_read_record_header(reader, header))
        return std::nullopt;
    return SpotlightItemRecord(std::move(bytes), reader.position(), tables_);
}

std::optional<SpotlightItemRecord> SpotlightStoreFile::record_at(int page, quint32 record_offset)
{
    if (page < 0 || size_t(page) >= metadata_pages_.size() || record_offset < 4)
        return std::nullopt;
    const qint64 page_offset = metadata_pages_[size_t(page)];
    const QByteArray *contents = cached_page(page_offset);
    if (!contents || quint64(record_offset) > quint64(contents->size()))
        return std::nullopt;
    const quint32 size = qFromLittleEndian<quint32>(contents->constData() + record_offset - 4);
    return record({page_offset, record_offset, size});
}
