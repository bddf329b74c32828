#include "measure.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>

namespace {

double timeOnce(const Side& side) {
  // Either side starts on memory of its own, rather than on what the other has just freed.
  malloc_trim(0);
  const auto start = std::chrono::steady_clock::now();
  side.run();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  side.settle();
  return seconds.count();
}

}  // namespace

void demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

Comparison comparePairs(const Side& provider, const Side& reference, int pairs) {
  timeOnce(provider);
  timeOnce(reference);
  Comparison comparison;
  for (int pair = 0; pair < pairs; ++pair) {
    const bool providerFirst = pair % 2 == 0;
    if (providerFirst) comparison.provider.push_back(timeOnce(provider));
    comparison.reference.push_back(timeOnce(reference));
    if (!providerFirst) comparison.provider.push_back(timeOnce(provider));
  }
  return comparison;
}

Summary summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  const double median =
      values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
  return {values.front(), median, values.back()};
}

std::vector<double> ratios(const Comparison& comparison) {
  std::vector<double> result;
  std::transform(comparison.provider.begin(), comparison.provider.end(),
                 comparison.reference.begin(), std::back_inserter(result), std::divides<>());
  return result;
}
