#pragma once

#include <functional>
#include <string>
#include <vector>

// One side of a comparison.
struct Side {
  std::function<void()> run;             // what is timed
  std::function<void()> settle = [] {};  // not timed: checks the result, readies the next run
};

// What the two sides took, the runs of a pair at the same index.
struct Comparison {
  std::vector<double> provider;
  std::vector<double> reference;
};

// Ends the benchmark, by an exception, with the sentence `otherwise` unless the condition holds.
void demand(bool condition, const std::string& otherwise);

struct Summary {
  double minimum;
  double median;
  double maximum;
};

// Runs the two sides in turn, swapping the order with every pair, after one pair that does not
// count. Times are in seconds.
Comparison comparePairs(const Side& provider, const Side& reference, int pairs);

Summary summarise(std::vector<double> values);

// Provider by reference, pair by pair.
std::vector<double> ratios(const Comparison& comparison);
