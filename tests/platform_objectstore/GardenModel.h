// A small two-version model for the object store's own tests, and helpers
// to load it into a container in a temporary folder.
//
//   "Garden"   Plant(id, name, height), Shed(id)
//   "Garden 2" Plant(id, name, watered = true, note, rank?), indexed by id;
//              Bed(label, required) with a cascading to-many "plants".
//
// From "Garden" to "Garden 2" the mapping is inferred (height and Shed go,
// watered/note/rank and Bed come), unless a test declares a policy.
#pragma once

#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace kestrel::testing {

/// The model text; `mappings` is spliced in as the "mappings" list, and
/// `current` names the current version.
std::string gardenModelJson(const std::string& mappings = "[]", const std::string& current = "Garden 2");

/// The model read from a text; fails the test when it does not read.
std::shared_ptr<const platform::ObjectModel> modelFromJson(const std::string& json);

/// A container for the model with its store in `directory` ("Garden.sqlite").
std::shared_ptr<platform::PersistentContainer> gardenContainer(
    const std::filesystem::path& directory,
    std::shared_ptr<const platform::ObjectModel> model = nullptr);

/// Loads the container's stores; the first error, if any.
std::optional<platform::StoreError> loadStores(platform::PersistentContainer& container);

/// A private-queue context whose parent is the container's view context.
std::shared_ptr<platform::ObjectContext> childOfView(const platform::PersistentContainer& container);

}  // namespace kestrel::testing
