// The game's numbers that more than one place needs: textures that give a block its role, the
// prices of what players build, sizes, and the powerup ids. The kinds' own defaults (a new pad's
// texture, a Zorbin cube's worth) are world data in world/Server_EntityKinds.h.
#pragma once
#include <cstdint>

#include "world/Server_EntityKinds.h"

// ---- textures that mark a role ----
// Every zone query of the rules reaches this far past the upper corner of its box, so that
// entities filed by their lower corner are found.
inline constexpr float kZoneLimit = 2000.0f;

// The game runs at 30 ticks a second: an hour (the tax period) and a minute in ticks.
inline constexpr int32_t kGameTicksPerHour = 108'000;
inline constexpr int32_t kGameTicksPerMinute = 1'800;

inline constexpr uint16_t kTextureFireBlock = 3;     // also a surface that burns players landing on it
inline constexpr uint16_t kTextureSpeedSurface = 15; // landing on it makes a player fast
inline constexpr uint16_t kTexturePowerupPad = 5;    // spawned powerup cubes
inline constexpr uint16_t kTexturePyramid = 15;      // saved with the pyramid-texture byte set
inline constexpr uint16_t kTextureStoneBlock = 39;
inline constexpr uint16_t kTextureFlatStone = 40;
inline constexpr uint16_t kTextureBuildingBlock = 42;
inline constexpr uint16_t kTextureZorbinCube = kZorbinCubeTexture;
inline constexpr uint16_t kTextureIRSCube = 73;

// ---- what players build, in coins ----
inline constexpr uint32_t kCostStoneBlock = 5'000;
inline constexpr uint32_t kCostBouncyPad = 5'000;
inline constexpr uint32_t kCostZorbinCube = kZorbinCubeWorth;
inline constexpr uint32_t kCostBuildingBlock = 300'000;
inline constexpr uint32_t kCostIRSCube = 300'000;
// A BuildingBlock adds twice its price to its owner's property value.
inline constexpr int64_t kBuildingBlockPropertyValue = 600'000;

// ---- tag pads ----
// Coins per second of a pad that has just become a tag pad.
inline constexpr uint32_t kTagPadStartingPayout = 10;

// ---- sizes ----
inline constexpr float kPowerupCubeSize = 16.0f;
// Princess cubes come back at these sizes after a defeat; an administrator's new cube starts so.
inline constexpr float kTalvyCubeSize = 500.0f;
inline constexpr float kOrisetCubeSize = 1000.0f;
// The Quillhob rule holds its cubes at this size.
inline constexpr float kQuillhobCubeSize = 100.0f;

// ---- princess cubes after a defeat ----
// A defeated Talvy cube drops in from this height above its home and is safe from the Spirit of
// Zorbin for this many ticks; a defeated Oriset cube hovers at this height again.
inline constexpr float kTalvyDefeatHeight = 8'000.0f;
inline constexpr int16_t kTalvyProtectionAfterDefeat = 150;
inline constexpr float kOrisetHoverAfterDefeat = 1'100.0f;

// ---- powerup ids (the player's effect slots and the powerup table) ----
enum PowerupId : uint32_t {
    kPowerupJumpHigh = 1,
    kPowerupOldQuillhobGloves = 2,
    kPowerupSpiritOfZorbin = 3,
    kPowerupOldHyperPlay = 4,
    kPowerupOldWingsOfSmileyBird = 5,
    kPowerupRockOfSmileyMoon = 6,
    kPowerupTriFire = 7,
    kPowerupOldSpiritOfTalvy = 8,
    kPowerupOldWingsOfSmileyEagle = 9,
    kPowerupGlovesOfVextor = 10,
    kPowerupOldPenetratingFire = 11,
    kPowerupDriveTheTalvy = 12,
    kPowerupSpiritOfCookie = 13,
    kPowerupRemovePowerups = 14,
    kPowerupGiantFireBlocks = 15,
    kPowerupSpiritOfIceCream = 16,
    kPowerupShieldOfTalvy = 17,
    kPowerupStoneBlockDestroyer = 18,
    kPowerupColaOfSmiley = 19,
    kPowerupNoFlyingAllowed = 20,
    kPowerupJailed = 21,
    kPowerupSolexis = 64,
};
