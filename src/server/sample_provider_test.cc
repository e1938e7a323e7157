// A provider for providers_test.cc: sound, of another version, or no provider at all.
#include <stdexcept>

#include "automation/provider.h"
#include "automation/sample_class_test.h"

namespace pv::automation {
namespace {

[[maybe_unused]] const Provider* SampleProvider(const char* build) {
  static constexpr ProviderClass kClasses[] = {
      {"ADODB.Sample", [] { return Ref<Object>(MakeObject<Sample>()); }},
      {"ADODB.Broken", []() -> Ref<Object> { throw std::runtime_error("no driver"); }},
  };
  static Provider provider{build, kClasses, std::size(kClasses)};
  return &provider;
}

}  // namespace
}  // namespace pv::automation

#if defined(PV_SAMPLE_SOUND)
PV_PROVIDER_FUNCTION { return pv::automation::SampleProvider(pv::automation::kProviderBuild); }
#elif defined(PV_SAMPLE_STALE)
PV_PROVIDER_FUNCTION { return pv::automation::SampleProvider("0.9"); }
#endif
