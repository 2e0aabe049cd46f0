// talvor reg: the controller's registers, for whoever debugs a pod.
#include <array>

#include "commands/command_set.h"
#include "commands/values.h"
#include "hardware/tbc_registers.h"

namespace talvor {
namespace {

struct RegOptions {
    std::string address;
    uint32_t count = 1;
    bool same_address = false;
    std::vector<std::string> values;
    std::string condition;
};

constexpr uint32_t kMaxValue = 0xFFFF;
constexpr uint32_t kMaxCount = 65536;

struct Condition {
    std::string_view word;
    JSC_StatusType type;
};

constexpr std::array kConditions{
    Condition{"idle", eJSC_STATUS_TYPE_COMMAND_FINISH},
    Condition{"write-one", eJSC_STATUS_TYPE_WR_BUFFER1_ONE},
    Condition{"write-many", eJSC_STATUS_TYPE_WR_BUFFER1_MANY},
    Condition{"read-one", eJSC_STATUS_TYPE_RD_BUFFER1_ONE},
    Condition{"read-many", eJSC_STATUS_TYPE_RD_BUFFER1_MANY},
    Condition{"ready", eJSC_STATUS_TYPE_ACCESS_READY},
};

Result<uint32_t> parse_address(const RegOptions& options) {
    return parse_number(options.address, TBC_EXTENDED_PORTS - 1, "register");
}

Status read(Context& context, const RegOptions& options) {
    const Result<uint32_t> address = parse_address(options);
    if (!address) {
        return address.error();
    }
    if (!options.same_address && *address + options.count > TBC_EXTENDED_PORTS) {
        return Error{ErrorKind::Usage, 0,
                     fmt::format("{} registers from {}", options.count, *address),
                     fmt::format("the last register is {}", TBC_EXTENDED_PORTS - 1), ""};
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    // The driver may still write to it if the read fails.
    std::vector<uint16_t>& words = (*session)->pod().receive_buffer(options.count);
    if (Status status = (*session)->pod().run("reading registers", &JSC_Interface::RegisterRead,
                                              !options.same_address, true, *address, options.count,
                                              words.data());
        !status) {
        (*session)->pod().retire_receive_buffer();
        return status;
    }
    Json registers = Json::array();
    for (uint32_t i = 0; i < options.count; ++i) {
        const uint32_t number = options.same_address ? *address : *address + i;
        context.out.line("{:>2}  0x{:04X}", number, words[i]);
        registers.push_back(Json{{"register", number}, {"value", words[i]}});
    }
    context.out.result(Json{{"registers", std::move(registers)}});
    return {};
}

Status write(Context& context, const RegOptions& options) {
    const Result<uint32_t> address = parse_address(options);
    if (!address) {
        return address.error();
    }
    std::vector<uint16_t> words;
    for (const std::string& text : options.values) {
        const Result<uint32_t> value = parse_number(text, kMaxValue, "value");
        if (!value) {
            return value.error();
        }
        words.push_back(static_cast<uint16_t>(*value));
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    Pod& pod = (*session)->pod();
    if (Status status =
            pod.run("writing registers", &JSC_Interface::RegisterWrite, !options.same_address, true,
                    *address, static_cast<uint32_t>(words.size()), words.data());
        !status) {
        return status;
    }
    if (Status status = pod.flush(); !status) {
        return status;
    }
    context.out.result(Json{{"written", words.size()}});
    return {};
}

Status poll(Context& context, const RegOptions& options) {
    const auto* condition =
        std::find_if(kConditions.begin(), kConditions.end(),
                     [&options](const Condition& one) { return one.word == options.condition; });
    if (condition == kConditions.end()) {
        return Error{ErrorKind::Usage, 0, options.condition, "is no condition",
                     "choose idle, ready, write-one, write-many, read-one or read-many"};
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    Pod& pod = (*session)->pod();
    if (Status status = pod.run("polling", &JSC_Interface::RegisterPoll, condition->type, 0U);
        !status) {
        return status;
    }
    if (Status status = pod.flush(); !status) {
        return status;
    }
    context.out.line("{}", options.condition);
    context.out.result(Json{{"condition", options.condition}, {"met", true}});
    return {};
}

} // namespace

void add_reg(CommandSet& commands) {
    CLI::App& command = commands.add("reg", "Read, write or poll controller registers", nullptr);
    const auto options = command_options<RegOptions>();
    CLI::App& reader = commands.add(
        "read", "Read registers; 0 to 15 come from the driver's cache",
        [options](Context& context) { return read(context, *options); }, &command);
    reader.add_option("REGISTER", options->address, "Number, 0 to 31")->required();
    reader.add_option("COUNT", options->count, "How many")
        ->check(CLI::Range(1U, kMaxCount))
        ->capture_default_str();
    reader.add_flag("--same", options->same_address, "Read the same register again and again");
    CLI::App& writer = commands.add(
        "write", "Write registers; of 0 to 15 only changes are sent",
        [options](Context& context) { return write(context, *options); }, &command);
    writer.add_option("REGISTER", options->address, "Number, 0 to 31")->required();
    writer.add_option("VALUE", options->values, "Values, 16 bits each")->required();
    writer.add_flag("--same", options->same_address, "Write the same register again and again");
    CLI::App& poller = commands.add(
        "poll", "Let the pod wait for a condition",
        [options](Context& context) { return poll(context, *options); }, &command);
    poller
        .add_option("CONDITION", options->condition,
                    "idle, ready, write-one, write-many, read-one or read-many")
        ->required();
}

} // namespace talvor
