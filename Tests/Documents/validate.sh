# A module is validated, by some of the checks.
mkdir build
cp "${LD_LIBRARY_PATH#*:}/PCMPlugin.so" build/MyEncoder.so
rhohost() { command rhohost "$@" --only 'load.*'; }
# @BLOCK@
grep -q '<testsuite' report.xml
