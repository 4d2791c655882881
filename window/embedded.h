// The sample pictures that travel inside the program.
#pragma once

#include "canvas/surface.h"

namespace tavrel {

class Form;

// One embedded picture by its holder's number (2, 4 .. 9); nullptr if absent.
Picture embeddedPicture(int holder);
// Gives the window its start picture and the slide holders theirs.
void loadEmbeddedPictures(Form& form);

}  // namespace tavrel
