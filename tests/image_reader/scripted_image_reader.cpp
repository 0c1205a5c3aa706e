// A stand-in for the image reader that has been taken over by the image
// it parsed: the image's first line says how it misbehaves.
//   dribble: every file is 64 MiB long, and each read gives one byte
//   climbing: every folder lists "../../etc"
//   wrong-answer: every answer carries another request's number

#include "image_protocol.h"
#include "descriptor_channel.h"

#include <unistd.h>

int main()
{
    char script[32] = {};
    ::pread(image_protocol::first_image_fd, script, sizeof script - 1, 0);
    const QByteArray mode = QByteArray(script).split('\n').value(0);
    for (;;) {
        const auto received =
            descriptor_channel::receive_with_descriptor(image_protocol::reader_channel_fd, image_protocol::max_request_size);
        if (!received)
            return 0;
        const auto request = image_protocol::decode_request(QByteArrayView(received->bytes).sliced(4));
        if (!request)
            return 1;
        image_protocol::Answer answer;
        answer.sequence = mode == "wrong-answer" ? request->sequence + 1 : request->sequence;
        answer.found = true;
        FileFacts facts;
        facts.is_regular_file = request->path != "folder";
        facts.is_directory = !facts.is_regular_file;
        facts.size = 64 << 20;
        facts.mode = facts.is_directory ? 0040755 : 0100644;
        switch (request->kind) {
        case image_protocol::Kind::Look:
            answer.payload = image_protocol::encode_facts(facts);
            break;
        case image_protocol::Kind::Read:
            answer.payload = QByteArray(mode == "dribble" ? 1 : int(request->length), 'x');
            break;
        case image_protocol::Kind::Entries:
            answer.payload = image_protocol::encode_names({mode == "climbing" ? "../../etc" : "a"});
            break;
        default:
            break;
        }
        if (!descriptor_channel::send(image_protocol::reader_channel_fd, image_protocol::encode_answer(answer)))
            return 1;
    }
}
