#pragma once
// Weights of characters in text keys, as byte streams that sort_keys.cpp unpacks. Made by
// make_sort_key_tables.py.

#include <cstddef>

namespace kelvorin::database::access {

extern const unsigned char kGeneral97Weights[];
extern const std::size_t kGeneral97WeightsBytes;
extern const unsigned char kGeneralLegacyWeights[];
extern const std::size_t kGeneralLegacyWeightsBytes;
extern const unsigned char kGeneralWeights[];
extern const std::size_t kGeneralWeightsBytes;

}  // namespace kelvorin::database::access
