#pragma once
// The fixed runs of the command line: ten positions searched to depth 14 on the main
// thread, with fresh tables each. The default options hold, as no command can come first.

// "tesmar pgo", the profiling run: ends with "Total nodes searched: N".
void pgo_run();

// "tesmar bench", the same search for engine-testing tools: ends with "Nodes searched: N"
// and "Nodes/second: N", the rate over the searches alone.
void bench_run();
