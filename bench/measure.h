#pragma once

#include <functional>
#include <string>
#include <vector>

// One side of a comparison.
struct Side {
  std::function<void()> run;             // what is timed
  std::function<void()> settle = [] {};  // not timed: checks the result, readies the next run
};

// What the two sides took, the two runs of a pair at the same index.
struct Comparison {
  std::vector<double> provider;
  std::vector<double> reference;
};

struct Summary {
  double minimum, median, maximum;
};

// Runs the two sides in turn, changing the order with every pair, after one pair that does not
// count. The times are in seconds.
Comparison comparePairs(const Side& provider, const Side& reference, int pairs);

// The same for one of `count` equal parts of each run.
Comparison divide(Comparison comparison, std::size_t count);

// Provider by reference, pair by pair.
std::vector<double> ratios(const Comparison& comparison);

Summary summarise(std::vector<double> values);

// Ends the benchmark with a sentence, by an exception, unless the condition holds.
void demand(bool condition, const std::string& otherwise);
