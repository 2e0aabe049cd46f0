#include "podsim/model/board_fault.h"

namespace talvor::podsim {

const char* name_of(BoardFault::Kind kind) noexcept {
    switch (kind) {
    case BoardFault::Kind::Open:
        return "open";
    case BoardFault::Kind::Short:
        return "short";
    case BoardFault::Kind::Stuck:
        return "stuck";
    case BoardFault::Kind::Dead:
        return "dead";
    case BoardFault::Kind::Swapped:
        break;
    }
    return "swapped";
}

const char* name_of(BoardFault::Model model) noexcept {
    switch (model) {
    case BoardFault::Model::WiredAnd:
        return "wired-and";
    case BoardFault::Model::WiredOr:
        return "wired-or";
    case BoardFault::Model::Strong:
        break;
    }
    return "strong";
}

std::string text_of(const BoardFault& fault) {
    std::string text = name_of(fault.kind);
    for (const std::string& place : fault.places) {
        text += " " + place;
    }
    if (fault.kind == BoardFault::Kind::Short) {
        text += std::string(" ") + name_of(fault.model);
    } else if (fault.kind == BoardFault::Kind::Stuck || fault.kind == BoardFault::Kind::Dead) {
        text += fault.level ? " 1" : " 0";
    }
    return text;
}

} // namespace talvor::podsim
