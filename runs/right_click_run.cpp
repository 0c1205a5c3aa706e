#include "vantrel.h"

void vantrel::start_extraction_for_right_click_fs_module()
{
}

void vantrel::extract_file_paths_from_apple_metadata_essential_db_for_right_click()
{
}
