#include "search/draw_rules.h"

#include "board/move_checks.h"
#include "board/movegen.h"

bool has_legal_evasion(const Position& pos) {
  ScoredMove list[MAX_MOVES];
  ScoredMove* end = generate_evasions(pos, list, false);
  for (ScoredMove* p = list; p != end; ++p)
    if (!legality_attackers(pos, p->move)) return true;
  return false;
}
