// The zones of a client pending grid an entity would be filed in, as one comparable key, so
// that a change notice can tell a move within the same zones from one that crosses them.
#pragma once
#include <cstdint>

class Server_Entity;
class VUK_Grid;

namespace replication {

// Equal non-zero keys mean VUK_Grid::AddEntity files the entity in the same zones of a grid of
// this geometry. 0 when the zones cannot be told that cheaply (more than seven along an axis,
// or indices too large for the key).
uint32_t PendingGridZoneKey(const VUK_Grid& grid, const Server_Entity* e);

} // namespace replication
