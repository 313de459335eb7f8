#include "host/commands/completion_scripts.h"

namespace b2drive::cli {
namespace {

constexpr char kBash[] = R"~(# bash completion for b2drive; b2drive completion bash prints it.
_b2drive() {
  local line=${COMP_LINE:0:COMP_POINT} kinds='' word
  COMPREPLY=()
  {
    IFS= read -r kinds
    while IFS= read -r word; do COMPREPLY+=("$word"); done
  } < <("${1/#\~/$HOME}" __complete -- "$line" "$COMP_WORDBREAKS" 2>/dev/null </dev/null)
  if [[ ${#COMPREPLY[@]} -gt 0 ]]; then
    compopt -o filenames 2>/dev/null
    [[ ${COMPREPLY[0]} != */ ]] || compopt -o nospace 2>/dev/null
  elif [[ $kinds == *files* ]]; then
    compopt -o default 2>/dev/null
  elif [[ $kinds == *folders* ]]; then
    compopt -o dirnames 2>/dev/null
  fi
  return 0
}
complete -F _b2drive b2drive
)~";

constexpr char kZsh[] = R"~(#compdef b2drive
# zsh completion for b2drive; b2drive completion zsh prints it.
_b2drive() {
  local program=${(Q)words[1]} kinds
  local line="${(j: :)words[1,CURRENT-1]} ${(q)${(Q)PREFIX}}"
  local -a answer folders others
  answer=("${(@f)$("${program/#\~/$HOME}" __complete -- "$line" 2>/dev/null </dev/null)}")
  kinds=${answer[1]}
  answer=(${answer[2,-1]})
  folders=(${(M)answer:#*/})
  others=(${answer:#*/})
  (( $#folders )) && compadd -S '' -- "${folders[@]}"
  (( $#others )) && compadd -- "${others[@]}"
  (( $#answer )) && return 0
  case $kinds in
    *files*) _files ;;
    *folders*) _files -/ ;;
    *) return 1 ;;
  esac
}
if [[ ${funcstack[1]} == _b2drive ]]; then
  _b2drive "$@"
else
  compdef _b2drive b2drive
fi
)~";

constexpr char kFish[] = R"~(# fish completion for b2drive; b2drive completion fish prints it.
function __b2drive_complete
    set -l line (commandline -cp | string collect)
    set -l answer (b2drive __complete -- "$line" 2>/dev/null </dev/null)
    if test (count $answer) -gt 1
        printf '%s\n' $answer[2..-1]
    else if string match -q '*files*' -- "$answer[1]"
        __fish_complete_path (commandline -ct)
    else if string match -q '*folders*' -- "$answer[1]"
        __fish_complete_directories (commandline -ct)
    end
end
complete -c b2drive -f -a '(__b2drive_complete)'
)~";

}  // namespace

std::string CompletionScript(const std::string& shell) {
  if (shell == "bash") return kBash;
  if (shell == "zsh") return kZsh;
  return shell == "fish" ? kFish : "";
}

}  // namespace b2drive::cli
