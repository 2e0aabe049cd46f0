#include "host/driver/library.h"

#include "common/program_folder.h"
#include "host/driver/error_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <system_error>

namespace talvor {
namespace {

constexpr const char* kLibraryFile = "libjsctalvor_340.so.0";
constexpr const char* kLibraryVariable = "TALVOR_LIBRARY";
// Folders that may hold it, as seen from the program's own: where it is installed, which the build
// was told, and where a build folder has it. A tree that is moved as a whole stays usable.
constexpr std::array<const char*, 2> kLibraryFolders = {TALVOR_LIBRARY_FOLDER, "../lib"};
// jsc_DeleteHandle(JSC_Inform**), which has C++ linkage: frees a handle whatever its state.
constexpr const char* kAbandonHandle = "_Z16jsc_DeleteHandlePP10JSC_Inform";

template <typename T>
bool find(void* library, const char* name, T& function) {
    function = reinterpret_cast<T>(dlsym(library, name));
    return function != nullptr;
}

// Those of kLibraryFolders that have the library, each once.
std::vector<std::string> libraries_beside(const std::filesystem::path& programs) {
    std::vector<std::string> list;
    std::error_code error;
    for (const char* folder : kLibraryFolders) {
        const auto file = (programs / folder / kLibraryFile).lexically_normal();
        if (std::filesystem::exists(file, error) && !std::ranges::count(list, file.string())) {
            list.push_back(file.string());
        }
    }
    return list;
}

std::string loaded_path(void* library, const std::string& asked) {
    link_map* map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr && map->l_name[0] != '\0') {
        std::error_code error;
        const auto canonical = std::filesystem::canonical(map->l_name, error);
        return error ? std::string(map->l_name) : canonical.string();
    }
    return asked;
}

Failure missing(const std::string& path, const char* name) {
    return file_error(path, fmt::format("is no scan-control library: it has no {}", name),
                      fmt::format("name {} with --library", kLibraryFile));
}

} // namespace

void Library::Unload::operator()(void* library) const noexcept {
    dlclose(library);
}

std::vector<std::string> Library::candidates(const std::optional<std::string>& chosen) {
    if (chosen) {
        return {*chosen};
    }
    if (const char* variable = std::getenv(kLibraryVariable);
        variable != nullptr && *variable != '\0') {
        return {variable};
    }
    std::vector<std::string> list;
    if (const auto programs = program_folder(); !programs.empty()) {
        list = libraries_beside(programs);
    }
    list.emplace_back(kLibraryFile);
    return list;
}

Result<Library> Library::load(const std::optional<std::string>& chosen) {
    std::string reason;
    for (const std::string& path : candidates(chosen)) {
        void* opened = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (opened == nullptr) {
            if (reason.empty()) {
                reason = dlerror();
            }
            continue;
        }
        Library library{std::unique_ptr<void, Unload>(opened)};
        library.path_ = loaded_path(opened, path);
        TRY(library.resolve_all());
        return library;
    }
    return file_error("driver library", fmt::format("cannot be loaded: {}", reason),
                      fmt::format("name {} with --library, in the board file, or in {}",
                                  kLibraryFile, kLibraryVariable));
}

template <typename T>
Status Library::resolve(const char* name, T& function) const {
    return find(library_.get(), name, function) ? Status() : missing(path_, name);
}

Status Library::resolve_all() {
    TRY(resolve("JSC_CreateInterface", create_interface_));
    TRY(resolve("JSC_DeleteInterface", delete_interface_));
    TRY(resolve("JSC_CreateHandle", create_handle_));
    TRY(resolve("JSC_DeleteHandle", delete_handle_));
    TRY(resolve("JSC_CreateProperty", create_property_));
    TRY(resolve("JSC_DeleteProperty", delete_property_));
    (void)find(library_.get(), kAbandonHandle, abandon_handle_);
    JSC_Interface* table = nullptr;
    if (const JTI_Error code = create_interface_(&table); code != 0) {
        return library_error(path_, code);
    }
    table_ = {table, DeleteTable{delete_interface_}};
    return {};
}

Result<LibraryDescription> Library::description() const {
    JTI_Property* made = nullptr;
    if (const JTI_Error code = create_property_(&made); code != 0) {
        return library_error(path_, code);
    }
    const auto release = [this](JTI_Property* record) { delete_property_(&record); };
    const std::unique_ptr<JTI_Property, decltype(release)> property(made, release);
    const auto version = [](const char* major, const char* minor, const char* patch_major,
                            const char* patch_minor) {
        return fmt::format("{}.{}.{}.{}", major, minor, patch_major, patch_minor);
    };
    return LibraryDescription{
        property->libraryName,
        property->describeSentence,
        fmt::format("{} {}", property->packagePhrase,
                    version(property->packageVersionMajor, property->packageVersionMinor,
                            property->packagePatchMajor, property->packagePatchMinor)),
        fmt::format("{} {}", property->componentPhrase,
                    version(property->componentVersionMajor, property->componentVersionMinor,
                            property->componentPatchMajor, property->componentPatchMinor)),
        fmt::format("{} {}", property->buildDate, property->buildTime),
        property->libraryInterface,
        property->libraryImplement,
        property->authorCompany,
        property->copyrightNotice};
}

Result<Library::TestClockFunctions> Library::test_clock() const {
    TestClockFunctions functions;
    TRY(resolve("pll_CoordToHertz", functions.to_hertz));
    TRY(resolve("pll_CoordToText", functions.to_text));
    TRY(resolve("pll_StrWs0ToCoord", functions.from_text));
    TRY(resolve("pll_OneGteTwo", functions.at_least));
    TRY(resolve("pll_GetNextFrequency", functions.next));
    return functions;
}

} // namespace talvor
