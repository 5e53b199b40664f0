#include "world/VUK_Zone.h"

#include "world/Server_EntityKinds.h"

void* VUK_Zone::operator new(std::size_t) { return g_VukHeap_VukZone.AllocateOne(); }
void VUK_Zone::operator delete(void* p) { g_VukHeap_VukZone.FreeOne(p); }

VUK_Zone::VUK_Zone(VUK_ZoneLine* line, uint32_t index)
    : m_uiIndex(index), m_pZoneLine(line), m_Lists{VUKFastArray_Entity(1, this), VUKFastArray_Entity(1, this),
                                                   VUKFastArray_Entity(1, this), VUKFastArray_Entity(1, this),
                                                   VUKFastArray_Entity(1, this), VUKFastArray_Entity(1, this),
                                                   VUKFastArray_Entity(1, this), VUKFastArray_Entity(1, this)} {}

void VUK_Zone::AddEntityToEntityLinks_MasterListOnly(Server_Entity* e, PFAE_InfoList* links) {
    m_Lists[kZoneAll].AddEntity(e, links);
    ++m_uiLinkCount;
}

void VUK_Zone::AddEntityToEntityLinks(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly) {
    AddEntityToEntityLinks_MasterListOnly(e, links);
    if (masterListOnly) return;
    auto add = [&](ZoneList which) {
        m_Lists[which].AddEntity(e, links);
        ++m_uiLinkCount;
    };
    switch (e->GetKind()) {
    case kKindPlayer:
        add(kZonePlayers);
        break;
    case kKindNormalPad:
        add(kZoneNormalPads);
        if (e->IsPlayerBuilt() && !e->IsMoving()) add(kZoneRestingProperty);
        break;
    case kKindTalvyCube:
    case kKindOrisetCube:
        add(kZonePrincesses);
        break;
    case kKindZorbinCube:
        add(kZoneZorbinCubes);
        if (!e->IsMoving()) add(kZoneRestingProperty);
        break;
    case kKindPalaceCube:
        add(kZonePalaceCubes);
        break;
    case kKindQuillhobCube:
        add(kZoneQuillhobCubes);
        break;
    default:
        break; // fire blocks live in the master list only
    }
}
