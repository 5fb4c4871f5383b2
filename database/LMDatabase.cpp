#include "LMDatabase.h"

template class LMDBDataTable<_preKill_User_Launched_Data>;
template class LMDBDataTable<_preKill_Favorite_Time_Slot_Data>;
template class LMDatabase<_preKill_User_Launched_Data>;
template class LMDatabase<_preKill_Favorite_Time_Slot_Data>;
