#include "importer_loop.h"

#include "descriptor_channel.h"
#include "import_protocol.h"

#include <cstdlib>
#include <exception>
#include <new>

namespace {

constexpr int exit_out_of_memory = 3;

ImportedValues values_of(int file, const QString &content_type, const ContentImporters &importers)
{
    for (const std::unique_ptr<ContentImporter> &importer : importers) {
        if (!importer->reads(content_type))
            continue;
        // A library that gives up on a file by throwing costs that file its
        // values, not the process; but a process out of memory is beyond
        // trusting, and the worker starts a fresh one.
        try {
            return importer->import(file, content_type);
        } catch (const std::bad_alloc &) {
            std::_Exit(exit_out_of_memory);
        } catch (const std::exception &) {
        } catch (...) {
        }
        return {};
    }
    return {};
}

} // namespace

int run_importer_loop(int channel, const ContentImporters &importers)
{
    for (;;) {
        std::optional<descriptor_channel::Received> request =
            descriptor_channel::receive_with_descriptor(channel, import_protocol::max_request_size);
        if (!request)
            return 0;
        const std::optional<import_protocol::Request> asked = import_protocol::decode_request(request->bytes);
        if (!asked)
            return 1;
        ImportedValues values;
        if (request->passed)
            values = values_of(request->passed.get(), asked->content_type, importers);
        // The file is let go before answering: the worker may be about to
        // hand over the next one.
        request->passed.reset();
        if (!descriptor_channel::send(channel, import_protocol::encode_answer(asked->sequence, values)))
            return 1;
    }
}
