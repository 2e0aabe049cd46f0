// The formats of files that can be played.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/source.h"
#include "host/play/step_source.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace talvor {

enum class FileFormat : uint8_t { Svf, Xsvf, Stapl };

// "SVF", "XSVF", "STAPL".
[[nodiscard]] std::string_view name_of(FileFormat format) noexcept;
// The format of this name, in any case; nothing for another.
[[nodiscard]] std::optional<FileFormat> format_called(std::string_view name);

// By the first bytes: an XSVF file begins with an instruction, which no text does; a STAPL file
// with one of its words that no other has, or a comment behind an apostrophe. The source is at its
// start before and after. Errors (ErrorKind::BadFile): it cannot be read, or is empty.
[[nodiscard]] Result<FileFormat> format_by_content(play::ByteSource& source);
// By the end of a file's name, in any case, of those that can be written; nothing for another.
[[nodiscard]] std::optional<FileFormat> format_by_name(std::string_view name);

// The steps of a file whose steps are the same each time: SVF or XSVF. Source and port outlive
// them. `strict`: see svf::Planner. A STAPL file is a program: see stapl::Reader.
[[nodiscard]] std::unique_ptr<play::StepSource>
open_steps(FileFormat format, play::ByteSource& source, const JtagPort& port, bool strict);

} // namespace talvor
