// The tables of loopbox_tuning_batch. Each prints itself for every share-th process, and tells whether all that it
// asks for is reached.
#ifndef LOOPBOX_BENCH_TUNING_BATCH_H
#define LOOPBOX_BENCH_TUNING_BATCH_H

namespace batch {

// How near estimates are to the process, whether their sets hold it, what speaks against good and bad records.
bool Estimates(int share);

}  // namespace batch

#endif
