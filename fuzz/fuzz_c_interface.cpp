#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <kiv/c.h>

#include "FuzzFolder.h"
#include "Platform/Text/Text.h"

namespace {

/// Takes the arguments of calls from the input.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool isAtEnd() const { return rest_.empty(); }

    std::uint8_t byte() {
        if (rest_.empty()) {
            return 0;
        }
        const char first = rest_.front();
        rest_.remove_prefix(1);
        return static_cast<std::uint8_t>(first);
    }

    /// At most 31 bytes, in memory of their own, so that a read behind them is found; null now and then.
    kiv_text text() {
        const std::uint8_t length = byte();
        if (length == 255) {
            return {nullptr, byte()};
        }
        const std::string_view taken = rest_.substr(0, length % 32);
        rest_.remove_prefix(taken.size());
        char*& memory = texts_[next_++ % texts_.size()];
        std::free(memory);
        memory = static_cast<char*>(std::malloc(taken.size() + 1));
        std::memcpy(memory, taken.data(), taken.size());
        memory[taken.size()] = '\0';
        return {memory, length >= 128 ? SIZE_MAX : taken.size()};
    }

    std::int64_t number() {
        std::int64_t number = static_cast<std::int8_t>(byte());
        for (std::uint8_t shifts = byte() % 8; shifts > 0; --shifts) {
            number = static_cast<std::int64_t>(static_cast<std::uint64_t>(number) << 8U | byte());
        }
        return number;
    }

    kiv_value value() {
        kiv_value made{};
        made.kind = byte() % 9 - 1;
        made.boolean = byte() % 2;
        made.integer = number();
        made.real = static_cast<double>(made.integer) / 3;
        made.text = text();
        return made;
    }

    ~Input() {
        for (char* memory : texts_) {
            std::free(memory);
        }
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

private:
    std::string_view rest_;
    std::array<char*, 16> texts_{};
    std::size_t next_ = 0;
};

/// Handles that the library gave, some of them freed, and some numbers of our own.
template <class Handle>
struct Handles {
    std::array<Handle*, 8> all{};

    Handle*& one(Input& input) { return all[input.byte() % all.size()]; }
    Handle* some(Input& input) {
        const std::uint8_t choice = input.byte();
        return choice == 255 ? reinterpret_cast<Handle*>(static_cast<std::uintptr_t>(input.number()))
                             : all[choice % all.size()];
    }
};

Handles<kiv_context> contexts;
Handles<kiv_flag> flags;
kiv_value answer;
std::array<char, 1> answerText;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What holds of every call: the status is known, and a failure has a text in UTF-8.
kiv_status expectStatus(kiv_status status) {
    require(std::string_view(kiv_status_name(status)).starts_with("KIV_"));
    require(status != KIV_INTERNAL_ERROR);
    require(status == KIV_OK || (*kiv_error_text() && kiv::isValidUtf8(kiv_error_text())));
    return status;
}

void compute(void*, const char* name, std::size_t size, const kiv_context* context, kiv_answer* asked) {
    kiv_value value;
    char buffer[4];
    expectStatus(kiv_context_get(context, name, size, &value, buffer, sizeof(buffer)));
    if (expectStatus(kiv_answer_with(asked, &answer)) != KIV_OK) {
        expectStatus(kiv_callback_failed("no answer", SIZE_MAX));
    }
}

void declare(Input& input) {
    const kiv_value variation = input.value();
    std::array<kiv_declaration, 2> declared{};
    for (kiv_declaration& each : declared) {
        each.size = input.byte() == 255 ? input.byte() : sizeof(kiv_declaration);
        each.name = input.text();
        each.default_value = input.value();
        each.freeze = input.byte() % 6;
        each.variations = &variation;
        each.variation_count = input.byte() % 2;
    }
    const kiv_text name = input.text();
    std::array<kiv_flag*, 2> made{};
    if (expectStatus(kiv_register(name.data, name.size, declared.data(), 2, made.data())) == KIV_OK) {
        flags.one(input) = made[0];
    } else {
        require(!made[0] && !made[1]);
    }
}

void makeContext(Input& input) {
    std::array<kiv_entry, 2> entries{};
    for (kiv_entry& entry : entries) {
        entry.name = input.text();
        entry.value = input.value();
    }
    expectStatus(kiv_context_create(entries.data(), input.byte() % 3, &contexts.one(input)));
}

void readText(Input& input) {
    const kiv_text name = input.text();
    const kiv_text byDefault = input.text();
    std::array<char, 40> buffer{};
    const std::size_t capacity = input.byte() % buffer.size();
    std::size_t size = 0;
    const kiv_status status =
        expectStatus(kiv_read_text(name.data, name.size, byDefault.data, byDefault.size, contexts.some(input),
                                   buffer.data(), capacity, &size));
    require(status != KIV_OK || (size < capacity && buffer[size] == '\0'));
    if (status == KIV_BUFFER_TOO_SMALL) {
        require(size >= capacity && buffer[0] == '\0');
        std::string all(size + 1, 'x');
        require(kiv_take_text(all.data(), all.size(), &size) == KIV_OK && all[size] == '\0');
    }
}

void callOne(Input& input) {
    std::array<char, 64> buffer{};
    std::int32_t truth = 0;
    std::int64_t integer = 0;
    double real = 0;
    kiv_value value{};
    const std::uint8_t choice = input.byte();
    const kiv_text name = input.text();
    switch (choice % 22) {
    case 0:
        return declare(input);
    case 1:
        return makeContext(input);
    case 2:
        return readText(input);
    case 3:
        return void(expectStatus(kiv_read_bool(name.data, name.size, 1, contexts.some(input), &truth)));
    case 4:
        return void(expectStatus(kiv_read_int(name.data, name.size, 7, contexts.some(input), &integer)));
    case 5:
        return void(expectStatus(kiv_read_double(name.data, name.size, 0.5, contexts.some(input), &real)));
    case 6:
        return void(expectStatus(kiv_flag_read_bool(flags.some(input), contexts.some(input), &truth)));
    case 7:
        return void(expectStatus(kiv_flag_read_int(flags.some(input), contexts.some(input), &integer)));
    case 8:
        return void(expectStatus(kiv_flag_read_double(flags.some(input), contexts.some(input), &real)));
    case 9:
        return void(expectStatus(kiv_flag_read_text(flags.some(input), contexts.some(input), buffer.data(),
                                                    input.byte() % buffer.size(), nullptr)));
    case 10:
        return void(expectStatus(kiv_flag_find(name.data, name.size, &flags.one(input))));
    case 11:
        return void(expectStatus(kiv_flag_free(flags.some(input))));
    case 12:
        return void(expectStatus(kiv_context_free(contexts.some(input))));
    case 13:
        return void(expectStatus(kiv_context_get(contexts.some(input), name.data, name.size, &value,
                                                 buffer.data(), buffer.size())));
    case 14:
        return void(expectStatus(kiv_set_global_context(contexts.some(input))));
    case 15: {
        const kiv_text given = input.text();
        return void(expectStatus(kiv_override_set(name.data, name.size, given.data, given.size)));
    }
    case 16:
        return void(expectStatus(kiv_override_clear(name.data, name.size)));
    case 17:
        return void(expectStatus(kiv_set_computed_property(name.data, name.size, input.byte() % 9 - 1,
                                                           compute, nullptr, nullptr)));
    case 18:
        return void(expectStatus(kiv_set_date_property(name.data, name.size, input.number())));
    case 19:
        answer = input.value();
        answerText = {'a'};
        answer.text = {answerText.data(), answerText.size()};
        return;
    case 20:
        return void(expectStatus(kiv_unfreeze_namespace(name.data, name.size)));
    default:
        return void(expectStatus(kiv_flag_peek(flags.some(input), buffer.data(), buffer.size(), nullptr)));
    }
}

bool setUp() {
    const std::string document = FuzzFolder::path() + "/document.json";
    FILE* file = std::fopen(document.c_str(), "w");
    require(file != nullptr);
    // A key in the form of a UUID needs no signature.
    std::fputs(
        R"j({"data":"{\"application\":\"0ac4f5e6-1111-2222-3333-0123456789ab\",\"experiments\":[)j"
        R"j({\"_id\":\"1\",\"name\":\"a\",\"deploymentConfiguration\":{\"condition\":\"property(\\\"p\\\")\"},)j"
        R"j(\"featureFlags\":[{\"name\":\"a\"},{\"name\":\"n.a\"},{\"name\":\"b\"}]}]}"})j",
        file);
    std::fclose(file);
    kiv_endpoints offline{};
    offline.size = sizeof(offline);
    kiv_options options{};
    options.size = sizeof(options);
    options.configuration_path = {document.c_str(), SIZE_MAX};
    options.endpoints = &offline;
    options.impression = [](void*, const kiv_impression* impression) {
        require(impression->name.data != nullptr);
    };
    const auto hush = [](void*, std::uint32_t, const char*, std::size_t, const char*, std::size_t) {};
    require(kiv_set_error_handler(hush, nullptr, nullptr) == KIV_OK);
    require(kiv_setup("0ac4f5e6-1111-2222-3333-0123456789ab", SIZE_MAX, &options) == KIV_OK);
    kiv_entry entry{};
    entry.name = {"p", 1};
    entry.value.kind = KIV_TEXT;
    entry.value.text = {"v", 1};
    kiv_context* context = nullptr;
    std::array<char, 2> value{};
    require(kiv_context_create(&entry, 1, &context) == KIV_OK);
    require(kiv_read_text("b", 1, "", 0, context, value.data(), value.size(), nullptr) == KIV_OK);
    require(value[0] == 'v'); // the document is in use
    kiv_context_free(context);
    return true;
}

} // namespace

/// Takes the bytes as a sequence of calls of the C interface, with handles that are valid, freed or invented.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isReady = setUp();
    static_cast<void>(isReady);
    Input input(data, size);
    while (!input.isAtEnd()) {
        callOne(input);
    }
    for (kiv_context*& context : contexts.all) {
        kiv_context_free(context);
        context = nullptr;
    }
    kiv_overrides_clear();
    kiv_set_global_context(nullptr);
    return 0;
}
