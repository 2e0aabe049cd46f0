// The driver library, loaded as any host loads it.
#pragma once

#include "common/result.h"
#include "jsc_export.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor {

// What the library says about itself, in the order of its description record.
struct LibraryDescription {
    std::string name;      // libjsctalvor.so
    std::string sentence;  // what it is for
    std::string package;   // with its version
    std::string component; // with its version
    std::string built;     // date and time
    std::string interface;
    std::string implementation;
    std::string company;
    std::string copyright;
};

// Gives a table back to the library that made it.
struct DeleteTable {
    decltype(&::JSC_DeleteInterface) release = nullptr;
    void operator()(JSC_Interface* table) const noexcept { release(&table); }
};

// One loaded library with its operation table.
class Library {
public:
    // Where the library is looked for, best first: `chosen` alone when it is given, else the
    // environment's TALVOR_LIBRARY alone, else the folder that libraries are installed in beside
    // this program, ../lib, then wherever the loader looks.
    [[nodiscard]] static std::vector<std::string>
    candidates(const std::optional<std::string>& chosen);
    // Loads the first of candidates(chosen) that can be loaded. Errors (ErrorKind::BadFile): none
    // can; an entry point is missing. (ErrorKind::Pod): no table.
    [[nodiscard]] static Result<Library> load(const std::optional<std::string>& chosen);

    // The file that was loaded.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    [[nodiscard]] const JSC_Interface& table() const noexcept { return *table_; }
    [[nodiscard]] Result<LibraryDescription> description() const;

    [[nodiscard]] JTI_Error create_handle(JSC_Inform** handle, JSC_Parameter* parameter) const {
        return create_handle_(handle, parameter);
    }
    [[nodiscard]] JTI_Error delete_handle(JSC_Inform** handle) const {
        return delete_handle_(handle);
    }
    // Gives back the memory of a handle that delete_handle() refuses because it never came to be
    // open, or lost its controller block in a failed connect. Nothing when the library has no way.
    void abandon_handle(JSC_Inform* handle) const noexcept {
        if (abandon_handle_ != nullptr) {
            abandon_handle_(&handle);
        }
    }

    // The test-clock arithmetic; a host resolves it as it needs it.
    struct TestClockFunctions {
        decltype(&::pll_CoordToHertz) to_hertz = nullptr;
        decltype(&::pll_CoordToText) to_text = nullptr;
        decltype(&::pll_StrWs0ToCoord) from_text = nullptr;
        decltype(&::pll_OneGteTwo) at_least = nullptr;
        decltype(&::pll_GetNextFrequency) next = nullptr;
    };
    [[nodiscard]] Result<TestClockFunctions> test_clock() const;

private:
    struct Unload {
        void operator()(void* library) const noexcept;
    };

    explicit Library(std::unique_ptr<void, Unload> library) : library_(std::move(library)) {}
    // Finds an entry point. Errors (ErrorKind::BadFile): the library has none of that name.
    template <typename T>
    [[nodiscard]] Status resolve(const char* name, T& function) const;
    [[nodiscard]] Status resolve_all();

    std::string path_;
    std::unique_ptr<void, Unload> library_;
    std::unique_ptr<JSC_Interface, DeleteTable> table_;
    decltype(&::JSC_CreateInterface) create_interface_ = nullptr;
    decltype(&::JSC_DeleteInterface) delete_interface_ = nullptr;
    decltype(&::JSC_CreateHandle) create_handle_ = nullptr;
    decltype(&::JSC_DeleteHandle) delete_handle_ = nullptr;
    decltype(&::JSC_DeleteHandle) abandon_handle_ = nullptr; // jsc_DeleteHandle; may be missing
    decltype(&::JSC_CreateProperty) create_property_ = nullptr;
    decltype(&::JSC_DeleteProperty) delete_property_ = nullptr;
};

} // namespace talvor
