// The migration policy that carries votes from the first model version
// (MOVote: id, vote, eventTimestamp, postFlag) to the current one. The
// first layout knew only full-time votes and one flag for "sent":
//   eventId = id, eventTimestamp = eventTimestamp (0 when absent),
//   isAddSuccessful = (postFlag is the integer 1), isEditSuccessful = true,
//   type = "fullTime", vote = vote.
// Objects of other entities produce nothing. The policy always succeeds.
//
// Thread-safety: stateless.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>

namespace kestrel {

class VoteV2Mapping : public platform::EntityMigrationPolicy {
 public:
  /// The name the model's mapping gives the policy.
  static constexpr const char* kName = "VoteV2Mapping";

  bool createDestinationInstances(const platform::ManagedObject& source,
                                  const platform::EntityMapping& mapping,
                                  platform::MigrationManager& manager,
                                  std::optional<platform::StoreError>& error) override;
};

}  // namespace kestrel
