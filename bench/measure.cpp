#include "measure.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>

namespace {

double timeOnce(const Side& side) {
  malloc_trim(0);  // neither side is to profit from memory that the other has left
  const auto start = std::chrono::steady_clock::now();
  side.run();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  side.settle();
  return seconds.count();
}

}  // namespace

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

Comparison divide(Comparison comparison, std::size_t count) {
  for (double& value : comparison.provider) value /= static_cast<double>(count);
  for (double& value : comparison.reference) value /= static_cast<double>(count);
  return comparison;
}

std::vector<double> ratios(const Comparison& comparison) {
  std::vector<double> result;
  std::transform(comparison.provider.begin(), comparison.provider.end(),
                 comparison.reference.begin(), std::back_inserter(result), std::divides<>());
  return result;
}

Summary summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t upper = values.size() / 2, lower = (values.size() - 1) / 2;
  return {values.front(), (values[lower] + values[upper]) / 2, values.back()};
}

void demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}
