#ifndef VEXAPLATFORM_SANDBOX_SECCOMP_RULES_H_
#define VEXAPLATFORM_SANDBOX_SECCOMP_RULES_H_

#include <seccomp.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace vexaplatform {

using CallComparisons = std::initializer_list<scmp_arg_cmp>;

// Rules for calls, until one cannot be added. A call that an architecture lacks has a number less
// than 0 and gets none.
class SeccompRules {
 public:
  explicit SeccompRules(scmp_filter_ctx filter) : filter_(filter) {}

  // 0, or -1 when a rule could not be added.
  int result() const { return result_; }

  void Allow(int call, CallComparisons comparisons = {}) { Add(SCMP_ACT_ALLOW, call, comparisons); }

  template <size_t size>
  void AllowAll(const int (&calls)[size]) {
    for (const int call : calls) Allow(call);
  }

  void Fail(int call, uint32_t error, CallComparisons comparisons = {}) {
    Add(SCMP_ACT_ERRNO(error), call, comparisons);
  }

 private:
  void Add(uint32_t action, int call, CallComparisons comparisons) {
    if (result_ != 0 || call < 0) return;
    const auto count = static_cast<unsigned>(comparisons.size());
    if (seccomp_rule_add_array(filter_, action, call, count, comparisons.begin()) != 0) {
      result_ = -1;
    }
  }

  scmp_filter_ctx filter_;
  int result_ = 0;
};

// The system's own constants have signs, registers have none.
inline scmp_arg_cmp Is(unsigned argument, int64_t value) {
  return {argument, SCMP_CMP_EQ, static_cast<uint64_t>(value), 0};
}

inline scmp_arg_cmp HasBits(unsigned argument, int64_t mask, int64_t bits) {
  return {argument, SCMP_CMP_MASKED_EQ, static_cast<uint64_t>(mask), static_cast<uint64_t>(bits)};
}

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_SANDBOX_SECCOMP_RULES_H_
