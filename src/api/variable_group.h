// One group of configuration variables: read into a scratch record, copied into the handle.
#pragma once

#include "cfg_export.h"
#include "sys/check.h"

// The four functions of a group. `Flag` tells failure: bool, or int.
template <typename Variable, typename Flag>
struct VariableGroup {
    Flag (*create)(Variable** ppVariable);
    void (*initial)(Variable* pVariable);
    int32_t (*read)(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface, Variable* pVariable);
    Flag (*remove)(Variable** ppVariable);
};

// For compilers that do not deduce a record's parameters from its members.
template <typename Variable, typename Flag>
VariableGroup(Flag (*)(Variable**), void (*)(Variable*),
              int32_t (*)(CFG_Handle, CFG_Interface*, Variable*), Flag (*)(Variable**))
    -> VariableGroup<Variable, Flag>;

// Reads a group.
//   pKept  out: the handle's record; untouched on failure
// -131 no memory for the scratch record; -132 it could not be released; else the reader's code.
template <typename Variable, typename Flag>
[[nodiscard]] JTI_Error read_group(const VariableGroup<Variable, Flag>& group, CFG_Handle cfgHandle,
                                   CFG_Interface* pCfgInterface, Variable* pKept) {
    Variable* scratch = nullptr;
    RETURN_IF(group.create(&scratch), eJTI_ERROR_NO_MEMORY);
    group.initial(scratch);
    const JTI_Error error = group.read(cfgHandle, pCfgInterface, scratch);
    if (error == eJTI_ERROR_NONE) {
        *pKept = *scratch;
    }
    const bool kept_back = group.remove(&scratch);
    RETURN_ON_ERROR(error);
    return kept_back ? eJTI_ERROR_NO_RELEASE : eJTI_ERROR_NONE;
}
