#include "tools/qx_vod_ctl/check/profile_choice.h"

#include "rules/transcoder_contract.h"

namespace {

std::string reason_for(choice_basis basis, std::int32_t max_profile) {
  const std::string limit = "\"max profile\", " + std::to_string(max_profile);
  switch (basis) {
  case choice_basis::first_within_limit:
    return "it is the first that is not above " + limit;
  case choice_basis::last_because_none_within_limit:
    return "all are above " + limit + ", and it is the last";
  default:
    return "it is the first that the transcoder offers";
  }
}

}  // namespace

explained_choice explain_choice(const std::vector<std::string>& profiles,
                                std::int32_t max_profile) {
  profile_choice choice = choose_profile(profiles, max_profile);
  return {std::move(choice.profile), reason_for(choice.basis, max_profile)};
}
