// Every model type of KestrelModel: the values the persistence layer is given
// by the application and returns to it.
//
// All types are plain structs with public members. Every member has a default
// initialiser, so designated initialisers may name any subset of members:
//   Team{.ID = 42, .name = "Kestrels"}
// Missing values are std::optional; an empty list means "none".
//
// Types with an ID (Event, Stage, Team, Player, Tournament, UniqueTournament,
// CategoryModel, Season, StageSeason, UniqueStage, StageType) compare equal
// when their IDs are equal and hash by ID (std::hash specialisations), so they
// can live in ordered and unordered sets keyed by identity. Sport compares ID
// and slug. The other types compare by value.
#pragma once

#include <KestrelModel/CategoryModel.h>
#include <KestrelModel/Event.h>
#include <KestrelModel/EventChanges.h>
#include <KestrelModel/EventScore.h>
#include <KestrelModel/EventStatus.h>
#include <KestrelModel/EventTime.h>
#include <KestrelModel/FieldTranslations.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>
#include <KestrelModel/Player.h>
#include <KestrelModel/Season.h>
#include <KestrelModel/Sport.h>
#include <KestrelModel/Stage.h>
#include <KestrelModel/StageColors.h>
#include <KestrelModel/StageSeason.h>
#include <KestrelModel/StageType.h>
#include <KestrelModel/StatusTime.h>
#include <KestrelModel/TVChannelSuggestion.h>
#include <KestrelModel/TVScheduleChannelCountry.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/TimeInfo.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/UniqueStage.h>
#include <KestrelModel/UniqueTournament.h>
#include <KestrelModel/UnsavedVote.h>
#include <KestrelModel/VarInProgress.h>
#include <KestrelModel/YardDistance.h>
