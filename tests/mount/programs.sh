#!/usr/bin/env bash
# Real programs at work on the mount. B2_MOUNT_TEST_SECONDS sets what can run for any time.
. "$(dirname "$0")/../support/shell.sh"
seconds=${B2_MOUNT_TEST_SECONDS:-5}
start_emulator --bucket bucket-one --recommended-part-size 2000000 --minimum-part-size 100000
mount_drive cache_size=64M,dir_ttl=2
make_tree "$scratch/tree" 950
cd "$bucket"

step "cp, rsync and tar"
cp -a "$scratch/tree" copy
rsync -a "$scratch/tree/" synced
rsync -a --stats "$scratch/tree/" synced | grep "files transferred: 0"
tar -C "$scratch" -cf tree.tar tree
tar --one-top-level=untarred --strip-components=1 -xf tree.tar

step "gzip, mv, sed -i, an editor's save"
echo old >a
gzip a
gunzip a.gz
mv a a.bak
sed -i s/old/new/ a.bak
equal "names and text" "$(ls a*) $(cat a.bak)" "a.bak new"
echo saved >.a.swp && mv .a.swp a.bak
exec 7<>a.bak && rm a.bak
equal "open without a name" "$(cat <&7) $(find . -maxdepth 1 -name '*a.*')" "saved "
exec 7>&-
mkdir -p sub/inner
mv sub moved  # EXDEV: mv copies
equal "moved" "$(ls moved),$(find . -maxdepth 1 -name 'sub*')" inner,
refused "not empty" rmdir moved
refused "not permitted\|not supported\|not implemented" ln tree.tar link
refused "not permitted\|not supported\|not implemented" ln -s tree.tar link

step "git and sqlite3"
git() { command git -c user.name=t -c user.email=t@example.org -c gc.auto=0 "$@"; }
git init -q repo
cp -r "$scratch/tree" repo/
git -C repo add -A
git -C repo commit -qm one
echo more >>repo/tree/plain.txt
git -C repo commit -qam two
git clone -q repo clone
diff -r repo/tree clone/tree
sqlite3 base.db "create table t(i integer primary key, x text);
  begin; with recursive n(i) as (select 1 union all select i+1 from n where i<500)
  insert into t select i, hex(randomblob(200)) from n; commit;
  delete from t where i % 3 = 0; update t set x = 'y' where i % 5 = 0;"

step "fio and stress-ng for $seconds seconds"
fio_verified() {  # fio_verified NAME [OPTIONS...]
  local name=$1; shift
  fio --name="$name" --directory="$bucket" --size=8M --ioengine=psync --fallocate=none --randseed=7 \
    --verify=crc32c --verify_fatal=1 --verify_state_save=0 --end_fsync=1 "$@" >"$scratch/fio" ||
    fail "$(cat "$scratch/fio")"
}
fio_verified random --rw=randwrite --bs=4k
fio_verified mixed --rw=randrw --bs=16k --numjobs=2
mkdir stress
stress-ng --temp-path "$bucket/stress" --timeout "${seconds}s" --verify --hdd 1 --hdd-bytes 4M --dir 1 \
  --dir-dirs 64 --dentry 1 --dentries 64 --fstat 1 --rename 1 --seek 1 --seek-size 2M --utime 1
rmdir stress

step "after a new mount with a small cache"
cd /
unmount
mount_drive cache_size=4M
cd "$bucket"
for copy in copy synced untarred; do diff -r "$scratch/tree" "$copy"; done
git -C clone fsck --full
equal "database" "$(sqlite3 base.db 'pragma integrity_check; select count(*) from t' | xargs)" "ok 334"
fio_verified random --rw=randread --bs=4k --verify_only
rm -rf repo
equal "repo" "$(find . -maxdepth 1 -name 'repo*')" ""
cd /
unmount
finish
