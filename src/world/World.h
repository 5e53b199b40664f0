// Placeholder until the world registry lands: the server only needs the type and the two
// moving lists its idle test reads.
#pragma once
#include <cstdint>

class World {
public:
    World() = default;
    virtual ~World() = default;

    bool HasMovingProperty() const { return false; }
    bool HasMovingZorbinCubes() const { return false; }
};
