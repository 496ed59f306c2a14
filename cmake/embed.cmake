# cmake -DTEXT=FILE -DNAME=NAMESPACE::NAME -DHEADER=HEADER.h -DSOURCE=SOURCE.cpp -P embed.cmake: makes a source of a
# text, which HEADER.h declares as a std::string_view.
file(READ "${TEXT}" text)
file(WRITE "${SOURCE}" "#include \"${HEADER}\"\n\nconst std::string_view ${NAME} = R\"text(${text})text\";\n")
