// The tables of loopbox_tuning_batch. Each prints itself for every share-th process, and tells whether all that it
// asks for is reached.
#ifndef LOOPBOX_BENCH_TUNING_BATCH_H
#define LOOPBOX_BENCH_TUNING_BATCH_H

namespace batch {

// How near estimates are to the process, whether their sets hold it, what speaks against good and bad records.
bool Estimates(int share);

// What proposals cost on the process, over the best ones of bench/tuning/best.txt.
bool Ratios(int share);

// Which records are refused: such as mislead, and good ones.
bool Flags(int share);

// Finds these best ones and prints them, as best.txt holds them.
void WriteBest();

}  // namespace batch

#endif
