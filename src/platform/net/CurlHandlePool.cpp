#include "platform/net/CurlHandlePool.hpp"

#include <utility>

namespace lumora::platform {

CurlEasyHandle CurlHandlePool::take() {
  if (idle_.empty()) return CurlEasyHandle(curl_easy_init());
  auto easy = std::move(idle_.back());
  idle_.pop_back();
  return easy;
}

void CurlHandlePool::give(CurlEasyHandle easy) {
  if (!easy) return;
  curl_easy_reset(easy.get());
  idle_.push_back(std::move(easy));
}

}  // namespace lumora::platform
