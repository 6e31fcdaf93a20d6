program foreign;
{$mode objfpc}{$H+}
{ Fills, edits or seeks a table T.DBF with its index by Free Pascal's TDbf.
  foreign make|edit|seek FOLDER LEVEL }
uses sysutils, classes, db, dbf, dbf_common, dbf_idxfile;
type TAnswer = class procedure Locale(var Error: TLocaleError; var Solution: TLocaleSolution); end;
procedure TAnswer.Locale(var Error: TLocaleError; var Solution: TLocaleSolution);
begin Solution := lsBinary; end;
var
  d: TDbf; what, folder: string; level, i, missing: integer; keys: TStringList; list: TextFile; line: string;
begin
  what := ParamStr(1); folder := ParamStr(2); level := StrToInt(ParamStr(3));
  d := TDbf.Create(nil); d.OnLocaleError := @TAnswer(nil).Locale;
  try
    d.FilePathFull := folder; d.TableName := 'T.DBF'; d.TableLevel := level;
    if what = 'make' then begin
      with d.FieldDefs do begin
        Add('CODE', ftString, 12); Add('ID', ftInteger);
      end;
      d.CreateTable;
      d.Exclusive := true; d.Open;
      if level = 3 then d.AddIndex('BYCODE.NDX', 'CODE', [ixExpression])
      else d.AddIndex('BYCODE', 'CODE', [ixExpression]);
    end else begin
      d.Exclusive := true;
      d.Open;
      if level = 3 then begin d.OpenIndexFile('BYCODE.NDX'); d.IndexName := 'BYCODE.NDX'; end;
    end;
    if what <> 'seek' then begin
      for i := 1 to 700 do begin
        d.Append;
        d.FieldByName('CODE').AsString := what[1] + IntToStr(i * 7919 mod 1009);
        d.FieldByName('ID').AsInteger := i;
        d.Post;
      end;
      if what = 'edit' then begin
        d.First;
        i := 0;
        while not d.Eof and (i < 400) do begin
          inc(i);
          if i mod 3 = 0 then begin
            d.Edit; d.FieldByName('CODE').AsString := 'x' + IntToStr(i * 31 mod 997); d.Post;
          end;
          d.Next;
        end;
      end;
    end;
    { every record is found by its key }
    keys := TStringList.Create;
    d.IndexName := '';
    d.First;
    while not d.Eof do begin keys.Add(d.FieldByName('CODE').AsString); d.Next; end;
    if level = 3 then d.IndexName := 'BYCODE.NDX' else d.IndexName := 'BYCODE';
    missing := 0;
    for i := 0 to keys.Count - 1 do
      if not d.SearchKey(keys[i], stEqual) then begin inc(missing); if missing < 4 then writeln('not found: ', keys[i]); end
      else if Trim(d.FieldByName('CODE').AsString) <> Trim(keys[i]) then begin inc(missing); if missing < 4 then writeln('wrong record for ', keys[i]); end;
    i := 0; line := '';
    d.First;
    while not d.Eof do begin
      inc(i);
      if d.FieldByName('CODE').AsString < line then writeln('out of order: ', line, ' ', d.FieldByName('CODE').AsString);
      line := d.FieldByName('CODE').AsString;
      d.Next;
    end;
    writeln(what, ' level ', level, ': ', keys.Count, ' records, ', i, ' in order, ', missing, ' keys not found');
    d.Close;
    if (missing > 0) or (i <> keys.Count) then halt(1);
  finally
    d.Free;
  end;
end.
