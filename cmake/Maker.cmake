# Who makes the program, as the about page shows it: a packager's own build can say otherwise.
set(KORVALUNE_MAKER_NAME "The Korvalune developers" CACHE STRING "The maker's name")
set(KORVALUNE_MAKER_COMPANY "Korvalune Project" CACHE STRING "The maker's company")
set(KORVALUNE_MAKER_NOTICE "© 2026" CACHE STRING "The maker's copyright notice")
set(KORVALUNE_MAKER_SITE "https://korvalune.example" CACHE STRING "The maker's web site, with its scheme")
set(KORVALUNE_MAKER_CONTACT "contact@korvalune.example" CACHE STRING "The maker's e-mail address")
set(KORVALUNE_MAKER_SUPPORT "support@korvalune.example" CACHE STRING "The e-mail address for crash reports")

string(REGEX REPLACE "^[A-Za-z]+://([^/:?#]+).*$" "\\1" KORVALUNE_MAKER_SITE_HOST "${KORVALUNE_MAKER_SITE}")

configure_file(src/maker.h.in generated/maker.h @ONLY)
