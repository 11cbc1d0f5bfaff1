// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_ENGINE_UNTYPED_API_H_
#define TESTS_ENGINE_UNTYPED_API_H_

#include <string>

#include "kw/trx/hapapi/hapapi.h"

namespace kw::trx::testing {

/// An API object of a class without type information, which notes its calls in `calls`.
hapapi::HAPAPI* makeUntypedAPI(std::string& calls);

}  // namespace kw::trx::testing

#endif  // TESTS_ENGINE_UNTYPED_API_H_
