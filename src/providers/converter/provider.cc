// What libpv-converter.so shows to the component.
#include "automation/provider.h"

#include "providers/converter/automation/converter.h"

PV_PROVIDER_FUNCTION {
  using pv::automation::Object;
  using pv::automation::Ref;
  static constexpr pv::automation::ProviderClass kClasses[] = {
      {"Cardweave.Converter",
       [] { return Ref<Object>(pv::automation::MakeObject<pv::converter::Converter>()); }},
  };
  static const pv::automation::Provider provider{pv::automation::kProviderBuild, kClasses,
                                                 std::size(kClasses)};
  return &provider;
}
