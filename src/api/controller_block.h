// The controller block: state that all handles on one pod share.
#pragma once

#include "jsc_internal.h"

// Attaches the block that the handle's driver name and port stand for; the first handle on a pod
// fills in every default. A pod that a fresh proxy put in the old one's place has a block of its
// own. -164 no driver name, or the block could not be made or mapped.
[[nodiscard]] int32_t controller_block_attach(JSC_Inform* pHandle);

// Detaches it. Pending reads go first: some have their destination in the block. pJscControl is
// null afterwards, unless the release failed.
int32_t controller_block_release(JSC_Inform* pHandle);
