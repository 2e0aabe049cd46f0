// talvor reg: the controller's registers, for whoever debugs a pod.
#include "host/driver/conditions.h"
#include "host/driver/registers.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"

#include <algorithm>

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

Result<uint32_t> parse_address(const RegOptions& options) {
    return parse_number(options.address, kRegisters - 1, "register");
}

Result<std::vector<uint16_t>> parse_values(const RegOptions& options) {
    std::vector<uint16_t> words;
    for (const std::string& text : options.values) {
        words.push_back(static_cast<uint16_t>(TRY(parse_number(text, kMaxValue, "value"))));
    }
    return words;
}

Status read(Context& context, const RegOptions& options) {
    const uint32_t address = TRY(parse_address(options));
    if (!options.same_address && address + options.count > kRegisters) {
        return usage_error(fmt::format("{} registers from {}", options.count, address),
                           fmt::format("the last register is {}", kRegisters - 1));
    }
    Session& session = *TRY(context.session());
    const auto words =
        TRY(read_registers(session.pod(), {address, options.count, options.same_address}));
    Json registers = Json::array();
    for (uint32_t i = 0; i < options.count; ++i) {
        const uint32_t number = options.same_address ? address : address + i;
        context.out.line("{:>2}  0x{:04X}", number, words[i]);
        registers.push_back(Json{{"register", number}, {"value", words[i]}});
    }
    context.out.result(Json{{"registers", std::move(registers)}});
    return {};
}

Status write(Context& context, const RegOptions& options) {
    const uint32_t address = TRY(parse_address(options));
    const std::vector<uint16_t> words = TRY(parse_values(options));
    Session& session = *TRY(context.session());
    TRY(write_registers(session.pod(), address, options.same_address, words));
    TRY(session.port().tell("a register of the controller that was written"));
    context.out.result(Json{{"written", words.size()}});
    return {};
}

Status poll(Context& context, const RegOptions& options) {
    const auto* const condition =
        std::find_if(kConditions.begin(), kConditions.end(),
                     [&options](const Condition& one) { return one.word == options.condition; });
    if (condition == kConditions.end()) {
        return usage_error(options.condition, "is no condition",
                           "choose idle, ready, write-one, write-many, read-one or read-many");
    }
    Pod& pod = TRY(context.session())->pod();
    TRY(pod.run("polling", &JSC_Interface::RegisterPoll, condition->type, 0U));
    TRY(pod.flush());
    context.out.line("{}", options.condition);
    context.out.result(Json{{"condition", options.condition}, {"met", true}});
    return {};
}

void add_read(Command& registers, const std::shared_ptr<RegOptions>& options) {
    Command command =
        registers.command("read", "Read registers; 0 to 15 come from the driver's cache",
                          [options](Context& context) { return read(context, *options); });
    command.option("REGISTER", options->address, "Number, 0 to 31").required();
    command.option("COUNT", options->count, "How many").range(1U, kMaxCount).show_default();
    command.flag("--same", options->same_address, "Read the same register again and again");
}

void add_write(Command& registers, const std::shared_ptr<RegOptions>& options) {
    Command command =
        registers.command("write", "Write registers; of 0 to 15 only changes are sent",
                          [options](Context& context) { return write(context, *options); });
    command.option("REGISTER", options->address, "Number, 0 to 31").required();
    command.option("VALUE", options->values, "Values, 16 bits each").required();
    command.flag("--same", options->same_address, "Write the same register again and again");
}

void add_poll(Command& registers, const std::shared_ptr<RegOptions>& options) {
    Command command =
        registers.command("poll", "Let the pod wait for a condition",
                          [options](Context& context) { return poll(context, *options); });
    command
        .option("CONDITION", options->condition,
                "idle, ready, write-one, write-many, read-one or read-many")
        .required();
}

} // namespace

void add_reg(Command& program) {
    Command command = program.command("reg", "Read, write or poll controller registers", nullptr);
    const auto options = command_options<RegOptions>();
    add_read(command, options);
    add_write(command, options);
    add_poll(command, options);
}

} // namespace talvor
