#pragma once
// The fixed run for profile-guided builds: ten positions to depth 14 on the main thread,
// then the node total. The default options hold, as no command can come before it.
void pgo_run();
