// All of the list for each element type of the library. The lists here use a part of it only; this
// keeps the rest true for these types too.

#include "OxbowRpm/impl/OxbowRpm_PoolMapItem.h"
#include "list/cow_List.h"

template class cow_List<int>;
template class cow_List<OxbowRpm_StrongRef<OxbowRpm_FileImpl>>;
template class cow_List<OxbowRpm_StrongRef<OxbowRpm_PoolImpl>>;
template class cow_List<OxbowRpm_PoolMapItem>;
