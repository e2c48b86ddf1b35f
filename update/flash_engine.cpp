#include "update/flash_engine.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "board_hal.h"
#include "support/heap_buffer.h"
#include "update/upgrade_state.h"

namespace board_hal {
namespace {

constexpr uint32_t chunk_size = 10240;
// Lets other processes run between two steps.
constexpr useconds_t step_pause_us = 10;

struct Copy {
    const FlashCopyKind &kind;
    FlashCopyRequest request;
    FlashGeometry flash;
    uint8_t *source;
    uint8_t *readback;
    uint32_t progress; // published last
};

// How a copy ended; decides what there is to release, and in which order.
enum class CopyEnd {
    copied,
    nothing_to_do, // no file was opened
    no_memory,     // neither
    failed,
    erase_failed,
};

uint32_t progress_of(ProgressSpan span, int32_t points)
{
    return static_cast<uint32_t>(points / span.divisor + span.base);
}

void publish(Copy &copy, int32_t points)
{
    copy.progress = progress_of(copy.request.span, points);
    set_upgrade_status(copy.progress, upgrade_in_progress);
}

int32_t points_of(const PhasePoints &phase, int32_t percent)
{
    const uint32_t product =
        static_cast<uint32_t>(percent) * static_cast<uint32_t>(phase.numerator);
    return static_cast<int32_t>(product) / phase.denominator + phase.start;
}

// The open step. Keeps the result, also a negative one.
bool open_file(int32_t &descriptor, const char *path, int flags)
{
    descriptor = open(path, flags);
    if (descriptor >= 0) {
        return true;
    }
    printf("While trying to open %s", path);
    if ((flags & O_RDWR) != 0) {
        printf(" for read/write access");
    } else if ((flags & O_WRONLY) != 0) {
        printf(" for write access");
    }
    printf("\n");
    return false;
}

// The close step.
void close_files(const StoredDescriptors &files)
{
    if (files.device > 0) {
        close(files.device);
    }
    if (files.image > 0) {
        close(files.image);
    }
}

// The read step: all or nothing.
bool read_exactly(int descriptor, const char *path, uint8_t *to, uint32_t count)
{
    const ssize_t result = read(descriptor, to, count);
    if (result == static_cast<ssize_t>(count)) {
        return true;
    }
    printf("\n");
    if (result >= 0) {
        printf("Short read count returned while reading from %s\n", path);
    } else {
        printf("While reading data from %s\n", path);
    }
    return false;
}

// The rewind step, to any offset. Offsets are 32-bit and signed as on the
// controller: one beyond 2 GiB fails there and therefore everywhere.
bool position(Seek seek, int descriptor, const char *path, uint32_t offset)
{
    if (seek == Seek::stay || lseek(descriptor, static_cast<int32_t>(offset), SEEK_SET) >= 0) {
        return true;
    }
    if (seek == Seek::reported) {
        printf("While seeking to start of %s\n", path);
    }
    return false;
}

bool position_files(const Copy &copy, const Positions &positions)
{
    const FlashCopyRequest &request = copy.request;
    const StoredDescriptors &files = *copy.kind.descriptors;
    return position(positions.image, files.image, request.image, request.image_offset) &&
           position(positions.device, files.device, request.device, request.flash_offset);
}

bool open_device(Copy &copy)
{
    int32_t &device = copy.kind.descriptors->device;
    if (!open_file(device, copy.request.device, O_RDWR | O_SYNC) ||
        !read_geometry(device, copy.flash)) {
        return false;
    }
    // No block count can be worked out without erase blocks.
    return copy.flash.erase_size != 0 || report_no_flash();
}

bool open_image(Copy &copy)
{
    int32_t &image = copy.kind.descriptors->image;
    if (!open_file(image, copy.request.image, O_RDONLY)) {
        return false;
    }
    struct stat status = {};
    if (fstat(image, &status) < 0) {
        printf("While trying to get the file status of %s\n", copy.request.image);
        return false;
    }
    return copy.kind.fits(copy.request, status.st_size, copy.flash);
}

// Blocks that the length touches; the block size is a power of two.
uint32_t block_count(uint32_t length, uint32_t erase_size)
{
    uint32_t covered = length & (0U - erase_size);
    if ((length & (erase_size - 1)) != 0) {
        covered += erase_size;
    }
    return covered / erase_size;
}

bool erase_block(const Copy &copy, uint32_t index)
{
    const uint32_t start = copy.request.flash_offset + index * copy.flash.erase_size;
    if (erase_flash(copy.kind.descriptors->device, {start, copy.flash.erase_size})) {
        return true;
    }
    printf("\n");
    printf("While erasing blocks 0x%.8x-0x%.8x on %s\n", start, start + copy.flash.erase_size,
           copy.request.device);
    fflush(stdout);
    return false;
}

bool erase(Copy &copy)
{
    const PhasePoints &phase = copy.kind.erase;
    const uint32_t blocks = block_count(copy.request.length, copy.flash.erase_size);
    const int32_t shown = static_cast<int32_t>(blocks);
    printf("%sErasing blocks: 0/%d (0%%)", copy.kind.erase_line_lead, shown);
    fflush(stdout);
    for (uint32_t index = 0; index < blocks; ++index) {
        const int32_t percent = signed_percent(index + 1, blocks);
        usleep(step_pause_us);
        printf("\rErasing blocks: %d/%d (%d%%)", static_cast<int32_t>(index + 1), shown, percent);
        fflush(stdout);
        publish(copy, points_of(phase, percent));
        if (!erase_block(copy, index)) {
            return false;
        }
    }
    printf("\rErasing blocks: %d/%d (100%%)\n", shown, shown);
    fflush(stdout);
    publish(copy, phase.end);
    return true;
}

// Walks the length chunk by chunk with a progress line; an empty one prints the
// first and the last line alone.
bool for_each_chunk(Copy &copy, const char *doing, const PhasePoints &phase, Percent percent_of,
                    bool (*step)(const Copy &copy, uint32_t done, uint32_t chunk))
{
    const uint32_t length = copy.request.length;
    const unsigned long total_kib = length / 1024;
    printf("%s data: 0k/%luk (0%%)", doing, total_kib);
    fflush(stdout);
    uint32_t chunk = chunk_size;
    for (uint32_t done = 0; done != length; done += chunk) {
        if (length - done < chunk_size) {
            chunk = length - done;
        }
        const int32_t percent = percent_of(done + chunk, length);
        usleep(step_pause_us);
        printf("\r%s data: %dk/%luk (%lu%%)", doing, static_cast<int32_t>((done + chunk) / 1024),
               total_kib, static_cast<unsigned long>(static_cast<uint32_t>(percent)));
        fflush(stdout);
        publish(copy, points_of(phase, percent));
        if (!step(copy, done, chunk)) {
            return false;
        }
    }
    printf("\r%s data: %luk/%luk (100%%)\n", doing, total_kib, total_kib);
    fflush(stdout);
    publish(copy, phase.end);
    return true;
}

bool write_chunk(const Copy &copy, uint32_t done, uint32_t chunk)
{
    const FlashCopyRequest &request = copy.request;
    const StoredDescriptors &files = *copy.kind.descriptors;
    if (!read_exactly(files.image, request.image, copy.source, chunk)) {
        return false;
    }
    const ssize_t result = write(files.device, copy.source, chunk);
    if (result == static_cast<ssize_t>(chunk)) {
        return true;
    }
    printf("\n");
    fflush(stdout);
    if (result >= 0) {
        // The first address goes without its 0; log readers know the line so.
        printf("Short write count returned while writing to x%.8x-0x%.8x on %s: %d/%lu bytes "
               "written to flash\n",
               done, done + chunk, request.device,
               static_cast<int32_t>(done + static_cast<uint32_t>(result)),
               static_cast<unsigned long>(request.length));
    } else {
        printf("While writing data to 0x%.8x-0x%.8x on %s\n", done, done + chunk, request.device);
    }
    fflush(stdout);
    return false;
}

bool verify_chunk(const Copy &copy, uint32_t done, uint32_t chunk)
{
    const FlashCopyRequest &request = copy.request;
    const StoredDescriptors &files = *copy.kind.descriptors;
    if (!read_exactly(files.image, request.image, copy.source, chunk) ||
        !read_exactly(files.device, request.device, copy.readback, chunk)) {
        return false;
    }
    if (memcmp(copy.source, copy.readback, chunk) == 0) {
        return true;
    }
    printf("File does not seem to match flash data. First mismatch at 0x%.8x-0x%.8x\n", done,
           done + chunk);
    fflush(stdout);
    return false;
}

CopyEnd copy_files(Copy &copy)
{
    const FlashCopyKind &kind = copy.kind;
    if (!open_device(copy) || !open_image(copy)) {
        return CopyEnd::failed;
    }
    if (!erase(copy)) {
        return CopyEnd::erase_failed;
    }
    const bool copied =
        position_files(copy, kind.write_from) &&
        for_each_chunk(copy, "Writing", kind.write, kind.write_percent, write_chunk) &&
        position_files(copy, kind.verify_from) &&
        for_each_chunk(copy, "Verifying", kind.verify, unsigned_percent, verify_chunk);
    return copied ? CopyEnd::copied : CopyEnd::failed;
}

// Both buffers live in here alone.
CopyEnd copy_with_buffers(Copy &copy)
{
    HeapBuffer source(chunk_size);
    if (!source) {
        puts("Malloc src mem fail!");
        return CopyEnd::no_memory;
    }
    HeapBuffer readback(chunk_size);
    if (!readback) {
        puts("Malloc dest mem fail!");
        return CopyEnd::no_memory;
    }
    if (copy.kind.empty_is_done && copy.request.length == 0) {
        return CopyEnd::nothing_to_do;
    }
    copy.source = source.data();
    copy.readback = readback.data();
    return copy_files(copy);
}

} // namespace

int32_t unsigned_percent(uint32_t done, uint32_t total)
{
    return static_cast<int32_t>(done * 100 / total);
}

int32_t signed_percent(uint32_t done, uint32_t total)
{
    // Divided in 64 bits: the smallest number by -1 has no 32-bit result.
    const int64_t product = static_cast<int32_t>(done * 100);
    return static_cast<int32_t>(product / static_cast<int32_t>(total));
}

bool file_holds_stretch(const FlashCopyRequest &request, int64_t file_size)
{
    const uint32_t behind_offset = static_cast<uint32_t>(file_size) - request.image_offset;
    return static_cast<int32_t>(behind_offset) >= static_cast<int32_t>(request.length);
}

bool partition_holds(const FlashCopyRequest &request, int64_t bytes, const FlashGeometry &flash)
{
    if (bytes <= int64_t{flash.size}) {
        return true;
    }
    printf("%s won't fit into %s!\n", request.image, request.device);
    return false;
}

int run_flash_copy(const FlashCopyKind &kind, const FlashCopyRequest &request)
{
    Copy copy = {kind, request, {}, nullptr, nullptr, 0};
    pthread_mutex_lock(kind.lock);
    const CopyEnd end = copy_with_buffers(copy);
    // Noted under the lock: a failed copy closes its files after it has let the
    // next one in, which stores its own numbers.
    const StoredDescriptors files = *kind.descriptors;
    if (end == CopyEnd::copied) {
        close_files(files);
    }
    pthread_mutex_unlock(kind.lock);
    if (end == CopyEnd::erase_failed) {
        set_upgrade_status(copy.progress, upgrade_failed);
    }
    if (end == CopyEnd::failed || end == CopyEnd::erase_failed) {
        close_files(files);
    }
    return end == CopyEnd::copied || end == CopyEnd::nothing_to_do ? 0 : kind.failure;
}

} // namespace board_hal
