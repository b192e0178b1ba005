// Loads libX11 and libXext.
#include <dlfcn.h>

#include "display/x11_abi.h"

namespace viq::x11 {

namespace {

template <class Function> bool find_function(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

#define VIQ_FIND_FUNCTION(result, name, arguments) all &= find_function(library, #name, found.name);

bool find_functions_of_x11(void *library, functions &found) {
    bool all = true;
    VIQ_X11_FUNCTIONS(VIQ_FIND_FUNCTION)
    return all;
}

bool find_functions_of_xext(void *library, functions &found) {
    bool all = true;
    VIQ_XEXT_FUNCTIONS(VIQ_FIND_FUNCTION)
    return all;
}

#undef VIQ_FIND_FUNCTION

struct loaded_functions {
    functions found;
    bool complete = false;
};

loaded_functions load_libraries() {
    constexpr const char *x11_name = "libX11.so.6";
    loaded_functions result;
    // If the program has not used the library yet, it is prepared for several threads, which
    // versions before 1.8 do not do themselves.
    void *used = dlopen(x11_name, RTLD_NOW | RTLD_NOLOAD);
    void *library = used != nullptr ? used : dlopen(x11_name, RTLD_NOW);
    result.complete = library != nullptr && find_functions_of_x11(library, result.found);
    if (!result.complete)
        return result;
    if (used == nullptr)
        result.found.XInitThreads();
    if (void *extensions = dlopen("libXext.so.6", RTLD_NOW))
        result.found.has_shared_memory = find_functions_of_xext(extensions, result.found);
    return result;
}

} // namespace

const functions *load() {
    static const loaded_functions x11_functions = load_libraries();
    return x11_functions.complete ? &x11_functions.found : nullptr;
}

} // namespace viq::x11
