#include "vantrel.h"

void vantrel::start_extraction_for_left_click_fs_module()
{
}
