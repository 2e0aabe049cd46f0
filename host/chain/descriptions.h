// BSDL files of the devices of a chain: which file describes which device, and whether what it says
// is true of it.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"
#include "host/chain/chain.h"
#include "host/chain/idcode.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace talvor {

struct DescriptionFile {
    std::string path;
    std::shared_ptr<const bsdl::Device> device; // null: there is none
};

// Reads a file. Errors (ErrorKind::BadFile): it cannot be read, or is no BSDL.
[[nodiscard]] Result<DescriptionFile> read_description(const std::string& path);

// Files among which those of a device are found by its IDCODE.
class DescriptionFolder {
public:
    // Holds no file.
    DescriptionFolder() = default;
    // Every file of the folder `path` that ends in .bsd or .bsdl, in the order of their names, or
    // the one file `path`. Errors (ErrorKind::BadFile): there is no folder, or no such file in it.
    [[nodiscard]] static Result<DescriptionFolder> open(const std::string& path);

    // The files whose device may have this code. First those that leave the fewest of its bits
    // open, as the version; among equal ones in the order of their names.
    [[nodiscard]] std::vector<DescriptionFile> find(const IdCode& code) const;
    // What is wrong with files of the folder that cannot be read; these are left out.
    [[nodiscard]] const std::vector<Error>& faults() const noexcept { return faults_; }
    [[nodiscard]] size_t size() const noexcept { return files_.size(); }

private:
    std::vector<DescriptionFile> files_;
    std::vector<Error> faults_;
};

// What the target says to a description.
struct DescriptionCheck {
    std::vector<std::string> matches;        // "IDCODE", "instruction length", "capture"
    std::vector<std::string> contradictions; // a sentence each: "its IDCODE is ..., the file ..."
    // False when a contradiction is about more than the version in the IDCODE: the file is that of
    // another part.
    bool same_part = true;
};
// Of the device of this index, which has a description.
[[nodiscard]] DescriptionCheck check_description(const Chain& chain, size_t index);

// A pattern of an identification code: "0xX4100501" where X covers whole digits, else its bits.
[[nodiscard]] std::string code_text(const bsdl::Pattern& pattern);

} // namespace talvor
