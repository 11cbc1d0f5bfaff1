// SPDX-License-Identifier: Apache-2.0
// Export marker of the platform interfaces.
#ifndef KW_EXPORT_H_
#define KW_EXPORT_H_

/// Marks a class or function that the platform libraries export.
#define KW_PLATFORM_API __attribute__((visibility("default")))

#endif  // KW_EXPORT_H_
