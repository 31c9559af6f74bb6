#pragma once

#include "CObraClientEventIf.h"
#include "CObraClientRequestIf.h"

// A complete OBRA client: requests and events.
class CObraClientIf : public CObraClientRequestIf, public CObraClientEventIf
{
};
