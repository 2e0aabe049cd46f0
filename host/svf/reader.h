// Steps of an SVF file.
#pragma once

#include "host/jtag/port.h"
#include "host/play/source.h"
#include "host/play/step_source.h"
#include "host/svf/parser.h"
#include "host/svf/planner.h"

#include <optional>

namespace talvor::svf {

struct ReaderOptions {
    ParserLimits limits;
    bool strict = false; // see Planner
};

// Source and port outlive it. What it reads is planned for the port, and bounded in memory.
class Reader final : public play::StepSource {
public:
    Reader(play::ByteSource& source, const JtagPort& port, ReaderOptions options = {});

    [[nodiscard]] Status rewind() override;
    [[nodiscard]] Result<bool> next(play::Step& step) override;
    [[nodiscard]] uint64_t bytes_taken() const override { return parser_->bytes_taken(); }
    [[nodiscard]] uint64_t line() const override { return parser_->line(); }
    [[nodiscard]] uint64_t total_bytes() const override { return source_.total_bytes(); }
    [[nodiscard]] const std::string& name() const override { return source_.name(); }
    [[nodiscard]] std::span<const std::string_view> statements() const override {
        return kStatementNames;
    }
    void on_chunk(std::function<bool()> hook) override { parser_->on_chunk(std::move(hook)); }

private:
    void start();

    play::ByteSource& source_;
    const JtagPort& port_;
    ReaderOptions options_;
    std::optional<Parser> parser_;
    std::optional<Planner> planner_;
    Statement statement_;
};

} // namespace talvor::svf
