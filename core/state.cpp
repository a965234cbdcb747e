#include "state.h"

sqlite* db = nullptr;
std::atomic<bool> gLogStuff{false};
bool gShouldUpdateSets = false;
