#include <KestrelDatabase/objectstore/VoteV2Mapping.h>

#include <KestrelDatabase/objectstore/MOVote.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/MigrationManager.h>

#include <string>

namespace kestrel {

bool VoteV2Mapping::createDestinationInstances(const platform::ManagedObject& source,
                                               const platform::EntityMapping& /*mapping*/,
                                               platform::MigrationManager& manager,
                                               std::optional<platform::StoreError>& /*error*/) {
  if (source.entity().name() != MOVote::kEntityName) return true;
  const platform::ObjectValue id = source.value("id");
  const platform::ObjectValue vote = source.value("vote");
  const platform::ObjectValue eventTimestamp = source.value("eventTimestamp");
  const platform::ObjectValue postFlag = source.value("postFlag");

  auto object = manager.insertNewDestinationObject(MOVote::kEntityName);
  if (!object) return true;
  MOVote destination(std::move(object));
  destination.setEventId(id.integer() ? *id.integer() : 0);
  destination.setEventTimestamp(eventTimestamp.integer() ? *eventTimestamp.integer() : 0);
  destination.setIsAddSuccessful(postFlag == platform::ObjectValue(1));
  destination.setIsEditSuccessful(true);
  destination.setType(std::string(model::voteTypeText(model::NMEventVoteType::fullTime)));
  destination.setVote(vote.text() ? std::optional<std::string>(*vote.text()) : std::nullopt);
  return true;
}

}  // namespace kestrel
