// A status indicator that records every position shown and can cancel itself at
// the n-th one, for tests of operations that report progress.
#pragma once

#include <vector>

#include <kwlib63/progress/indicadorestat.h>

namespace kwtest {

class RecordingIndicator : public TIndicadorEstat {
 public:
  int MostrarEstat(double pos) override {
    shown.push_back(pos);
    if (cancelAt > 0 && static_cast<int>(shown.size()) == cancelAt) Cancelar();
    return TIndicadorEstat::MostrarEstat(pos);
  }
  std::vector<double> shown;
  int cancelAt = 0;  // 0: never
};

}  // namespace kwtest
