# cmake -DPAGE=page.html -DSOURCE=page.cpp -P page.cmake: makes a source of the page.
file(READ "${PAGE}" text)
file(WRITE "${SOURCE}" "#include \"Page.h\"\n\nconst std::string_view ztsim::PAGE = R\"page(${text})page\";\n")
