#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bench/tuning/batch.h"

int main(int count, char** words) {
  int share = 1;
  std::string_view table;
  for (int i = 1; i < count; ++i) {
    const std::string_view word = words[i];
    if (word == "--share" && i + 1 < count) {
      share = std::atoi(words[++i]);
    } else {
      table = word;
    }
  }
  if (share >= 1 && table == "estimates") return batch::Estimates(share) ? 0 : 1;
  if (share >= 1 && table == "ratios") return batch::Ratios(share) ? 0 : 1;
  if (share >= 1 && table == "flags") return batch::Flags(share) ? 0 : 1;
  if (table == "best") {
    batch::WriteBest();
    return 0;
  }
  std::fputs("usage: loopbox_tuning_batch estimates|ratios|flags [--share N]\n       loopbox_tuning_batch best\n",
             stderr);
  return 2;
}
