// SPDX-License-Identifier: Apache-2.0
// What can be told of a module file before the loader gets it.
#ifndef KW_TRX_HAP_LIBRARY_FILE_H_
#define KW_TRX_HAP_LIBRARY_FILE_H_

#include <string>

namespace kw::trx::trx {

/// Why the loader must not get the library at `path`, in words; null when it may, and itself tells
/// of every other problem. A pipe would let it wait for ever, and a file that ends before a page
/// that is mapped from it would kill the process at the first access to that page.
const char* problemOfLibraryFile(const std::string& path);

}  // namespace kw::trx::trx

#endif  // KW_TRX_HAP_LIBRARY_FILE_H_
