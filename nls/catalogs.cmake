# Message catalogs compiled at build time: zovexa_catalog(<source> <locale> <name>).
# Catalogs whose name starts with "tistest" are for the tests and are not installed.
zovexa_catalog(ccgmsg.msg C ccgmsg)
zovexa_catalog(zovexamsg.msg C zovexamsg)
zovexa_catalog(tistest_C.msg C tistest)
zovexa_catalog(tistest_de.msg de_DE tistest)
