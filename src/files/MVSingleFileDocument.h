#pragma once

#include "files/MVFileDocument.h"

// One file in a window of its own.
class MVSingleFileDocument : public MVFileDocument
{
};
