// Thread attributes of the program under test: either call can be made to fail once. Linked with --wrap.
#pragma once

void failNextAttrInit(int error);
void failNextStackSize(int error);
