#pragma once

namespace sonmere {

// From now on blocks of 64 KiB and more, as rings are, go back to the system when they are freed, and so does
// what is free at the heap's end. By itself the library gets more generous with every large block that is
// freed, so that a program which runs for weeks keeps what its busiest minute took. For such programs; those
// that end soon are quicker without. Threads: any, best before others start.
void returnFreedMemory();

}  // namespace sonmere
