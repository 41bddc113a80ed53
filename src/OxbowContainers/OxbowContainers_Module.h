#ifndef OXBOW_OXBOW_CONTAINERS_MODULE_H
#define OXBOW_OXBOW_CONTAINERS_MODULE_H

/** Start and end of the module that holds the exceptions' texts. It has nothing to set up. */
void OxbowContainers_initialize(int& count);
void OxbowContainers_finalize(int& count);

#endif
