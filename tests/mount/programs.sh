#!/bin/bash
# Real programs at work on the mount.
. "$(dirname "$0")/lib.sh" "$@"
StartEmulator
Mount

Tree() {  # FOLDER: files of several sizes, names with blanks and letters beyond ASCII
  mkdir -p "$1/a b" "$1/ü/deep/er"
  head -c 300000 /dev/urandom > "$1/a b/large"
  local i
  for i in $(seq 20); do echo "line $i" > "$1/ü/deep/f$i"; done
  : > "$1/empty"
  cp -rL "$(dirname "$0")/." "$1/scripts"
}
Same() { diff -r "$1" "$2" > "$SCRATCH/diff" 2>&1 || { Fail "$1 and $2 differ"; head "$SCRATCH/diff"; }; }

Note "cp -a and diff"
Tree "$SCRATCH/tree"
Must 60 cp -a "$SCRATCH/tree" "$BUCKET/copy"
Same "$SCRATCH/tree" "$BUCKET/copy"

Note "rsync twice"
Must 60 rsync -a "$SCRATCH/tree/" "$BUCKET/synced"
Must 60 rsync -a --stats "$SCRATCH/tree/" "$BUCKET/synced"
grep -q "Number of regular files transferred: 0" "$SCRATCH/out" || Fail "the second rsync sent files"
Same "$SCRATCH/tree" "$BUCKET/synced"

Note "tar in and out"
Must 60 tar -C "$SCRATCH" -cf "$BUCKET/tree.tar" tree
mkdir "$BUCKET/untarred"
Must 60 tar -C "$BUCKET/untarred" -xf "$BUCKET/tree.tar"
Same "$SCRATCH/tree" "$BUCKET/untarred/tree"

Note "gzip beside its neighbours"
mkdir "$BUCKET/names"
for name in f f.bak f~ f2 "f "; do echo "$name" > "$BUCKET/names/$name"; done
Must 30 gzip "$BUCKET/names/f"
[ "$(ls "$BUCKET/names" | sort | tr '\n' '|')" = "$(printf '%s\n' 'f ' f.bak f.gz f2 f~ | sort | tr '\n' '|')" ] ||
  Fail "names after gzip: $(ls "$BUCKET/names")"
Must 30 gunzip "$BUCKET/names/f.gz"
for name in f f.bak f~ f2 "f "; do
  [ "$(cat "$BUCKET/names/$name")" = "$name" ] || Fail "contents of $name"
done

Note "mv a a.bak, sed -i, an editor's save"
cd "$BUCKET/names" || exit 1
echo old > a
Must 30 mv a a.bak
[ ! -e a ] && [ "$(cat a.bak)" = old ] || Fail "mv a a.bak"
Must 30 sed -i s/old/new/ a.bak
[ "$(cat a.bak)" = new ] || Fail "sed -i"
echo saved > .a.swp && mv .a.swp a.bak
[ "$(cat a.bak)" = saved ] && [ ! -e .a.swp ] || Fail "save by rename"
exec 7<> a.bak && rm a.bak && [ "$(cat <&7)" = saved ] || Fail "open without a name"
exec 7>&-
[ ! -e a.bak ] || Fail "unlinked file is back"
Must 30 mkdir sub && Must 30 mv sub "$BUCKET/moved"   # EXDEV: mv copies
[ -d "$BUCKET/moved" ] && [ ! -e sub ] || Fail "mv of a folder"
MustFail 30 rmdir "$BUCKET/names"
MustFail 30 ln f link
MustFail 30 ln -s f link
cd /

Note "git"
cd "$BUCKET" || exit 1
Git() { Must 120 git -c user.name=t -c user.email=t@example.org -c gc.auto=0 "$@"; }
Git init -q repo
cp -r "$SCRATCH/tree/scripts" repo/
Git -C repo add -A && Git -C repo commit -qm one
echo more >> repo/scripts/lib.sh
Git -C repo commit -qam two
Git -C repo fsck --full
Git clone -q repo clone
Git -C clone fsck --full
Same repo/scripts clone/scripts
cd /

Note "sqlite3"
Must 120 sqlite3 "$BUCKET/base.db" "create table t(i integer primary key, x text);
  begin; with recursive n(i) as (select 1 union all select i+1 from n where i<500)
  insert into t select i, hex(randomblob(200)) from n; commit;
  delete from t where i % 3 = 0; update t set x = 'y' where i % 5 = 0;"
[ "$(sqlite3 "$BUCKET/base.db" 'pragma integrity_check')" = ok ] || Fail "integrity check"

Note "after a new mount"
Unmount
Mount
for folder in copy synced untarred/tree; do Same "$SCRATCH/tree" "$BUCKET/$folder"; done
Git -C "$BUCKET/clone" fsck --full
[ "$(sqlite3 "$BUCKET/base.db" 'pragma integrity_check; select count(*) from t' | tr '\n' ' ')" = "ok 334 " ] ||
  Fail "database after a new mount"
Must 60 rm -rf "$BUCKET/repo"
[ ! -e "$BUCKET/repo" ] || Fail "rm -rf left something"
Finish
