#include "driver_library.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace endtoend {
namespace {

void* load() {
    void* library = dlopen(TALVOR_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    return library;
}

template <typename Function>
void resolve(void* library, const char* name, Function& function) {
    void* const address = dlsym(library, name);
    if (address == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    function = reinterpret_cast<Function>(address);
}

DriverLibrary resolve_all() {
    void* const library = load();
    DriverLibrary names{};
    resolve(library, "JSC_CreateInterface", names.CreateInterface);
    resolve(library, "JSC_DeleteInterface", names.DeleteInterface);
    resolve(library, "JSC_CreateHandle", names.CreateHandle);
    resolve(library, "JSC_DeleteHandle", names.DeleteHandle);
    resolve(library, "JSC_CreateProperty", names.CreateProperty);
    resolve(library, "JSC_DeleteProperty", names.DeleteProperty);
    resolve(library, "_Z14CloseUsbDeviceP10JSC_Inform", names.close_pod);
    resolve(library, "_Z16jsc_DeleteHandlePP10JSC_Inform", names.free_handle);
    return names;
}

} // namespace

const DriverLibrary& driver_library() {
    static const DriverLibrary names = resolve_all();
    return names;
}

} // namespace endtoend
