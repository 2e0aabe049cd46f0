// Heap records of configuration variables.
#pragma once

#include "sys/memory.h"

// A record on the heap, contents undefined; the caller owns it. Returns whether that failed: null
// pp, or no memory, with *pp null.
template <typename Variable>
[[nodiscard]] bool create_variable(Variable** pp) {
    if (pp == nullptr) {
        return true;
    }
    *pp = static_cast<Variable*>(sys_MemAlloc(sizeof(Variable)));
    return *pp == nullptr;
}

// Sets *pp to null, then frees the record. Returns whether that failed: null pp or null *pp.
template <typename Variable>
[[nodiscard]] bool delete_variable(Variable** pp) {
    if (pp == nullptr || *pp == nullptr) {
        return true;
    }
    void* record = *pp;
    *pp = nullptr;
    sys_MemFree(&record);
    return false;
}
