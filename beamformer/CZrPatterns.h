#pragma once
// The twelve patterns. Each fills in the fields of CZrPattern from constant tables and
// adds nothing else. Listed in the index order of CZircFactory.

#include "beamformer/CZrPattern.h"

class CZircOmni final : public CZrPattern { public: CZircOmni(); };
class CZircSuper3 final : public CZrPattern { public: CZircSuper3(); };
class CZircSuper2 final : public CZrPattern { public: CZircSuper2(); };
class CZircSuper1 final : public CZrPattern { public: CZircSuper1(); };
class CZircHyper3 final : public CZrPattern { public: CZircHyper3(); };
class CZircHyper2 final : public CZrPattern { public: CZircHyper2(); };
class CZircHyper1 final : public CZrPattern { public: CZircHyper1(); };
class CZircCard3 final : public CZrPattern { public: CZircCard3(); };
class CZircCard2 final : public CZrPattern { public: CZircCard2(); };
class CZircCard1 final : public CZrPattern { public: CZircCard1(); };
class CZircDipole1 final : public CZrPattern { public: CZircDipole1(); };
class CZircTorus2 final : public CZrPattern { public: CZircTorus2(); };
