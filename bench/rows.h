// The rows of the benchmark, by subsystem, in the order of the tables.
#pragma once

namespace kelvo::Bench {

void AddMelRows();
void AddStftRows();
void AddFftRows();
void AddFilterRows();
void AddResampleRows();
void AddConversionRows();
void AddCallRows();   // overheads of a call: one frame each, first and later, on two threads
void AddLongRows();   // results beyond the caches
void AddLevelRows();  // the CPU levels against each other

}  // namespace kelvo::Bench
