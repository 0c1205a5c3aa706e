#ifndef IMAGE_READER_PROCESS_H
#define IMAGE_READER_PROCESS_H

#include "image_protocol.h"
#include "image_scope.h"
#include "unique_fd.h"

#include <QString>

#include <sys/types.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <vector>

// What the image reader may spend. The time limit bounds every answer (the
// first after a start includes opening the image's volumes); the others
// stop a runaway parser before it hurts the examiner's machine.
struct ImageReaderLimits
{
    std::chrono::milliseconds time_per_request{10000};
    quint64 address_space_bytes = quint64(4) << 30;
    quint64 cpu_seconds = 3600;
    // Requests that failed this many times in a row (the reader crashed,
    // hung, answered garbage or could not be started) end the asking: the
    // image then gives no more values in the run, and costs no more waiting.
    int failures_before_giving_up = 3;
};

// The isolated image reader, seen from the worker: started on first need
// with the image's files (opened by the worker) and replaced whenever it
// fails. It dies with the worker and never outlives this object.
class ImageReaderProcess
{
public:
    // A reader of the part scope of the image whose files are image_files.
    ImageReaderProcess(QString executable, std::vector<UniqueFd> image_files, ImageReaderLimits limits = {},
                       ImageScope scope = {});
    ~ImageReaderProcess();
    ImageReaderProcess(const ImageReaderProcess &) = delete;
    ImageReaderProcess &operator=(const ImageReaderProcess &) = delete;

    // The reader's answer to request (its sequence number is set here);
    // nullopt when it failed to give one in time, or once given up.
    // Callable from any thread: requests are asked one at a time.
    std::optional<image_protocol::Answer> ask(image_protocol::Request request);

    // How many readers were started so far.
    int starts() const { return starts_; }
    // Whether the reader is no longer asked in this run.
    bool given_up() const { return failures_ >= limits_.failures_before_giving_up; }

private:
    bool start();
    // Kills and reaps the running reader, if any.
    void stop();
    std::optional<image_protocol::Answer> read_answer(std::uint32_t sequence);

    const QString executable_;
    const std::vector<UniqueFd> image_files_;
    const ImageReaderLimits limits_;
    const ImageScope scope_;
    std::mutex asking_;
    pid_t pid_ = -1;
    UniqueFd channel_;
    int starts_ = 0;
    int failures_ = 0;
    std::uint32_t sequence_ = 0;
};

#endif // IMAGE_READER_PROCESS_H
