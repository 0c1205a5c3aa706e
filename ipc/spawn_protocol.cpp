#include "spawn_protocol.h"

#include "import_protocol.h"

namespace spawn_protocol {

using import_protocol::put_u32;
using import_protocol::u32_at;

QByteArray encode_request(Kind kind, pid_t importer)
{
    QByteArray out;
    put_u32(out, request_size);
    out.append(char(kind));
    put_u32(out, std::uint32_t(importer));
    return out;
}

std::optional<Request> decode_request(QByteArrayView request)
{
    if (request.size() != import_protocol::length_size + request_size || u32_at(request, 0) != request_size)
        return std::nullopt;
    const Kind kind = Kind(request[import_protocol::length_size]);
    if (kind != Kind::Spawn && kind != Kind::End)
        return std::nullopt;
    return Request{kind, pid_t(u32_at(request, import_protocol::length_size + 1))};
}

QByteArray encode_answer(pid_t importer)
{
    QByteArray out;
    put_u32(out, std::uint32_t(importer > 0 ? importer : 0));
    return out;
}

std::optional<pid_t> decode_answer(QByteArrayView answer)
{
    if (answer.size() != answer_size)
        return std::nullopt;
    const pid_t importer = pid_t(u32_at(answer, 0));
    if (importer <= 0)
        return std::nullopt;
    return importer;
}

} // namespace spawn_protocol
