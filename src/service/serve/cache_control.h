#ifndef VEXATHUMB_SERVICE_SERVE_CACHE_CONTROL_H_
#define VEXATHUMB_SERVICE_SERVE_CACHE_CONTROL_H_

namespace vexathumb::service {

// The header line that the library writes before each picture, for those that are sent without it.
constexpr char kCacheControlLine[] = "Cache-Control: max-age=300, must-revalidate\r\n";

// The same for an answer that is one person's, which no cache may keep for others.
constexpr char kPrivateCacheControlLine[] =
    "Cache-Control: private, max-age=300, must-revalidate\r\n";

}  // namespace vexathumb::service

#endif  // VEXATHUMB_SERVICE_SERVE_CACHE_CONTROL_H_
