#pragma once

#include "ProjectTypes.h"

namespace SQLite {
class Statement;
}

// A row of DiaporamaDesc or Diaporama read into its struct, with each column's default where the
// file holds Null. Shared by the store, which writes through the database object, and the player,
// which opens the file read-only on its own.
namespace ProjectRows {

ProjectRow readProject(const SQLite::Statement& row);
SlideRow readSlide(const SQLite::Statement& row);

} // namespace ProjectRows
