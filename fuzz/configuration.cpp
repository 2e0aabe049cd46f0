// The board configuration as a host hands it to the driver. The input is text: lines KEY=TEXT; the
// pod behind it is an honest one. A sign before a key changes what the host's table answers:
//   ?KEY=TEXT  the key is not there, and reads of it give this all the same
//   !KEY=      the look-up fails
//   ~KEY=      the reads fail
//   <KEY=TEXT  the counted length is one less than the text's
//   >KEY=TEXT  the counted length is three more, as with a NUL inside
// A line *REVISION KIND RECIPE CLIENT, in hex, says what the pod and the client are.
#include "host/board/configuration.h"

#include "fuzz/base/check.h"
#include "fuzz/driver_session.h"
#include "fuzz/targets.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string>
#include <vector>

namespace talvor::fuzz {
namespace {

constexpr JTI_Error kHostError = 7777;
constexpr uint32_t kGlobal = 5;
constexpr size_t kMostKeys = 64;

// A key as the host's table gives it. The text is a block of its own, with nothing behind its NUL.
struct Entry {
    char sign = ' ';
    std::string key;
    std::unique_ptr<char[]> text;
    uint32_t length = 0;
};

// A host's table; what it must not be asked ends the process.
class HostTable {
public:
    void add(char sign, std::string_view key, std::string_view text) {
        Entry entry{sign, std::string(key), std::make_unique<char[]>(text.size() + 1),
                    static_cast<uint32_t>(text.size())};
        std::copy(text.begin(), text.end(), entry.text.get());
        entry.length += sign == '>' ? 3 : 0;
        entry.length -= sign == '<' && entry.length != 0 ? 1 : 0;
        entries_.push_back(std::move(entry));
    }

    CFG_Interface table() {
        std::array<CFG_Unused_t, sizeof(CFG_Interface) / sizeof(CFG_Unused_t)> slots;
        slots.fill(unused);
        auto table = std::bit_cast<CFG_Interface>(slots);
        table.GetContextIdInvalid = invalid_id;
        table.GetContextIdGlobal = global_id;
        table.GetContextHandle = entry;
        table.GetContextString = string;
        table.GetContextBoolean = boolean;
        table.GetContextUnsign32 = unsign32;
        table.GetContextSigned32 = signed32;
        return table;
    }

private:
    static JTI_Error unused() {
        FUZZ_CHECK(false, "the driver calls seven operations of the host's table");
    }
    static JTI_Error invalid_id(CFG_Handle, uint32_t* id) {
        *id = 0;
        return 0;
    }
    static JTI_Error global_id(CFG_Handle, uint32_t* id, bool* found) {
        *id = kGlobal;
        *found = true;
        return 0;
    }
    static JTI_Error entry(CFG_Handle handle, uint32_t context, const char* name,
                           JBD_Context* place, bool* found) {
        FUZZ_CHECK(context == kGlobal && *place == nullptr, "a look-up begins with nothing");
        HostTable& self = *static_cast<HostTable*>(handle);
        for (Entry& one : self.entries_) {
            if (one.key == name) {
                *place = &one;
                *found = one.sign != '?';
                return one.sign == '!' ? kHostError : 0;
            }
        }
        *place = &self.absent_;
        *found = false;
        return 0;
    }
    static JTI_Error string(CFG_Handle, JBD_Context place, uint32_t* length, const char** text) {
        const Entry& one = *static_cast<const Entry*>(place);
        *length = one.length;
        *text = one.text.get();
        return one.sign == '~' ? kHostError : 0;
    }
    template <typename T>
    static JTI_Error parsed(JBD_Context place, T* value, bool (*parse)(std::string_view, T&)) {
        const Entry& one = *static_cast<const Entry*>(place);
        *value = T{};
        if (one.sign == '~') {
            return kHostError;
        }
        return one.sign == '?' || parse(one.text.get(), *value) ? 0 : kHostError;
    }
    static JTI_Error boolean(CFG_Handle, JBD_Context place, bool* value) {
        return parsed(place, value, parse_boolean);
    }
    static JTI_Error unsign32(CFG_Handle, JBD_Context place, uint32_t* value) {
        return parsed(place, value, parse_unsigned);
    }
    static JTI_Error signed32(CFG_Handle, JBD_Context place, int32_t* value) {
        return parsed(place, value, parse_signed);
    }

    std::vector<Entry> entries_;
    Entry absent_{'?', "", std::make_unique<char[]>(1), 0};
};

struct Case {
    uint32_t revision = POD_REVISION_1;
    uint32_t kind = eJTI_CONTROL_ID_TBC;
    uint32_t recipe = JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG;
    uint32_t client = eJTI_CLIENT_ANONYMOUS;
};

void read_case(std::string_view line, Case& which) {
    for (uint32_t* value : {&which.revision, &which.kind, &which.recipe, &which.client}) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        const auto [end, error] =
            std::from_chars(line.data(), line.data() + line.size(), *value, 16);
        line.remove_prefix(static_cast<size_t>(end - line.data()));
    }
    which.revision = (which.revision & 0xFFU) | (1U + (which.revision >> 8) % 4U) << 8;
    which.kind = 1U + which.kind % 3U;
}

void read_line(std::string_view line, HostTable& host, Case& which) {
    if (line.starts_with('*')) {
        return read_case(line.substr(1), which);
    }
    const size_t equals = line.find('=');
    if (equals == line.npos) {
        return;
    }
    const bool has_sign = line.find_first_of("?!~<>") == 0;
    const char sign = has_sign ? line[0] : ' ';
    const size_t from = has_sign ? 1 : 0;
    host.add(sign, line.substr(from, equals - from), line.substr(equals + 1));
}

// What was taken over is what the rest of the driver may count with.
void check_record(const JSC_Inform& handle) {
    const PLL_Variable& clock = handle.pllVariable;
    constexpr uint32_t kMostBits = 524288;
    FUZZ_CHECK(clock.irLength <= kMostBits && clock.drLength <= kMostBits &&
                   clock.bitsLength <= kMostBits,
               "lengths of paths are within their limits");
    FUZZ_CHECK(clock.tclkAdvance <= PLL_TCLK_MARGIN_MAX && clock.tclkRetreat <= PLL_TCLK_MARGIN_MAX,
               "margins are within their limits");
    FUZZ_CHECK(handle.zdlVariable.found && handle.kelmVariable.found,
               "the configuration was found");
}

// The code of the first step that fails, or what the chain reads.
JTI_Error run_once(std::string_view text) {
    HostTable table;
    Case which;
    for (size_t keys = 0; !text.empty() && keys < kMostKeys; ++keys) {
        const size_t end = std::min(text.find('\n'), text.size());
        read_line(text.substr(0, end), table, which);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    CFG_Interface slots = table.table();
    MemoryOs os;
    MemoryProxy proxy(os, static_cast<uint16_t>(which.revision), static_cast<uint16_t>(which.kind));
    JTI_Error code = 0;
    {
        JSC_Parameter parameter{true, which.recipe, static_cast<JTI_Client>(which.client), &slots,
                                &table};
        DriverHost host;
        host.host_error = kHostError;
        code = host.create(parameter);
        if (code == 0) {
            check_record(*host.handle());
            code = host.connect();
        }
        Input reset_and_state(Bytes{});
        for (int again = 0; again < 2 && code == 0; ++again) {
            code = host.operate(reset_and_state); // slot 0: disconnects, and connects again
        }
    }
    os.check_nothing_left();
    return code;
}

} // namespace

void run_configuration(Bytes input) {
    const JTI_Error code = run_once(text_of(input));
    FUZZ_CHECK(run_once(text_of(input)) == code, "the same configuration has the same end");
}

} // namespace talvor::fuzz
