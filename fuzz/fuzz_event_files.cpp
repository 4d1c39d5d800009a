#include <cstdint>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGAES256Crypto.h"
#include "Analytics/KIVSEGEventQueue.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGQueueFiles.h"
#include "FuzzFolder.h"
#include "Platform/System/Files.h"

namespace {

constexpr std::string_view queueKey = "kiv.segmentio.queue.plist";

/// How the bytes come into the file, by the first of them.
enum class Form { plain, foreign, encrypted };

std::shared_ptr<KIVSEGFileStorage> storageOf(bool isEncrypted) {
    static const auto& crypto =
        *new auto(std::make_shared<const KIVSEGAES256Crypto>("password", "salt", std::string(16, 'i')));
    return std::make_shared<KIVSEGFileStorage>(FuzzFolder::path() + "/events",
                                               isEncrypted ? crypto : nullptr);
}

/// Reads the queue, changes it and reads it again from its file. To be called by a task of a queue.
void use(const std::shared_ptr<KIVSEGFileStorage>& storage) {
    // One object for all inputs: it keeps its lock file open.
    static const auto& files = *new auto(std::make_shared<KIVSEGQueueFiles>(storage->folderURL()));
    const auto queue = std::make_shared<KIVSEGEventQueue>(storage, files);
    const std::size_t size = queue->size();
    const kiv::json::array batch = queue->beginUpload(20);
    for (const auto& event : batch) {
        if (!kiv::textMember(event, KIVSEGEventQueue::identityKey)) {
            std::abort();
        }
    }
    queue->endUpload(batch, false);
    queue->append(kiv::json::object{{KIVSEGEventQueue::identityKey, "own"}, {"event", "impression"}});
    queue->persist();
    const std::size_t left = queue->size();
    if (std::make_shared<KIVSEGEventQueue>(storage, files)->size() != left || left == 0 || left > size + 1) {
        std::abort();
    }
}

} // namespace

/// Takes the bytes after the first as a file of the store of events: as it is, as the ciphertext, or as what
/// is encrypted there. Events can be read or are none, and a queue that was written is read back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    FuzzFolder::clear();
    const auto form = static_cast<Form>(data[0] % 3);
    const std::string_view content(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto storage = storageOf(form != Form::plain);
    if (form == Form::foreign) {
        kiv::writeFile(storage->urlForKey(queueKey), content);
    } else {
        storage->setData(content, queueKey);
    }
    storage->dictionaryForKey(queueKey);
    std::promise<void> done;
    kiv::SerialQueue tasks;
    tasks.post([&] {
        use(storage);
        tasks.postAtRest([&] { done.set_value(); }); // after the tasks that the queue posted
    });
    done.get_future().wait();
    return 0;
}
